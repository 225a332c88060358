// A settings file of any bytes, and changes of it: what is there is kept, or the file stays as it is.

#include "MemoryFile.h"
#include "TempFolder.h"
#include "settings/XJSON.h"
#include "settings/XRegistry.h"

namespace w64 {

namespace {

constexpr const wchar_t* kKeys[] = {L"", L"Software", L"Software\\Quillomere\\Korvastune\\Tagging",
                                    L"A\\b\\C"};
constexpr const wchar_t* kNames[] = {L"Wave64SafeEdit", L"wave64safeedit", L"x", L""};

// Written, it reads the same, and is written the same.
void TryText(const Bytes& bytes) {
    const XStr text = FromUTF8({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    try {
        const XJSON::AnyPtr tree = XJSON::Parse(text);
        if (!tree) return;
        const XStr written = tree->ToText();
        const XJSON::AnyPtr again = XJSON::Parse(written);
        Require(again && again->ToText() == written && again->Depth() == tree->Depth(),
                "a tree is kept by its text");
        Require(tree->Clone()->ToText() == written, "a clone is the same");
    } catch (const XJSON::Error&) {
        return;  // malformed
    }
}

struct Value {
    XStr name, text;
    int64_t number;
    bool operator==(const Value&) const = default;
};

// All values of a key but one.
std::vector<Value> OtherValues(const wchar_t* key, std::wstring_view except) {
    XStrList names;
    XRegistry::EnumValueNames(names, nullptr, key);
    std::vector<Value> values;
    for (const XStr& name : names) {
        if (EqualNoCase(name, except)) continue;
        values.push_back({name, XRegistry::GetString(name.c_str(), nullptr, key),
                          XRegistry::GetInt64(name.c_str(), nullptr, key)});
    }
    return values;
}

class Store {
public:
    explicit Store(const Bytes& bytes) : path_(folder_.Write("settings", bytes)) {
        XRegistry::SetRegFileLocation(FromUTF8(path_.native()), true);
        XRegistry::SetDefault(XRegistry::CurrentUser, L"");
    }

    void Change(Input& in) {
        const wchar_t* key = in.AnyOf(kKeys);
        const wchar_t* name = in.AnyOf(kNames);
        const Bytes before = ReadBytes(path_);
        const auto others = OtherValues(key, name);
        const bool isDone = Make(in, key, name);
        Require(isDone || ReadBytes(path_) == before, "a change that fails changes nothing");
        Require(OtherValues(key, name) == others, "a change of one value keeps the others");
        Require(!isDone || XRegistry::IsFileReadable(), "what is written can be read");
    }

private:
    static bool Make(Input& in, const wchar_t* key, const wchar_t* name) {
        const auto number = in.Number<int64_t>();
        const Bytes data = in.Take(in.Byte() % 32);
        switch (in.Byte() % 5) {
        case 0:
            return IsKept(XRegistry::SetInt64(number, name, nullptr, key),
                          XRegistry::GetInt64(name, nullptr, key) == number);
        case 1: {
            const XStr text(data.begin(), data.end());
            return IsKept(XRegistry::SetString(text, name, nullptr, key),
                          XRegistry::GetString(name, nullptr, key) == text);
        }
        case 2: {
            const bool done = XRegistry::SetBinaryData(data.data(), data.size(), name, nullptr, key);
            const XMem kept = XRegistry::GetBinaryDataToXMem(name, nullptr, key);
            return IsKept(done, Bytes(kept.Data(), kept.Data() + kept.Size()) == data);
        }
        case 3: {
            const bool done = XRegistry::DeleteVal(name, nullptr, key);
            return done && !XRegistry::DoesValueExist(name, nullptr, key);
        }
        default: {
            XStrList list;
            for (const uint8_t byte : data) list.Append(XStr(1, byte));
            const bool done = XRegistry::SetStringList(list, name, nullptr, key);
            XStrList kept;
            return IsKept(done, XRegistry::GetStringList(kept, name, nullptr, key) &&
                                    std::ranges::equal(kept, list));
        }
        }
    }

    static bool IsKept(bool isDone, bool isRead) {
        Require(!isDone || isRead, "a value is read as it was set");
        return isDone;
    }

    TempFolder folder_;
    std::filesystem::path path_;
};

}  // namespace

}  // namespace w64

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    w64::KeepFoldersInMemory();
    return 0;
}

// A byte and that many that choose changes, then the file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace w64;
    Input in(data, size);
    Input choices(in.Take(in.Byte()));
    const Bytes file = in.Rest();
    TryText(file);
    Store store(file);
    for (int left = 1 + choices.Byte() % 4; left > 0; --left) store.Change(choices);
    return 0;
}
