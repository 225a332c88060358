#include "host/decoder/OwnSettings.h"

#include "base/Platform.h"
#include "base/XFile.h"
#include "host/terminal/Failure.h"
#include "settings/XRegistry.h"
#include "settings/XRegistryScopes.h"
#include "settings/XRegistryTree.h"

#include <sys/stat.h>
#include <utility>

namespace w64 {

namespace {

constexpr const char* kCannotOffer = "cannot hand the tagging options to the decoder";
constexpr auto kUTF16 = static_cast<uint32_t>(LISTText::UTF16);

std::vector<XStr> TaggingKey() {
    return XRegistry::ImportKeyPath(XRegistry::CurrentUser, TaggingOptions::KeyPath);
}

Failure Unreadable() {
    return Failure("the settings in '" + ToUTF8(XRegistry::RegFileLocation()) +
                   "' cannot be read; if no other program is using that file, repair or delete it");
}

std::optional<uint32_t> NumberIn(const XJSON::Object& root, const wchar_t* name) {
    bool missing = false;
    const auto* value = XRegistryTree::FindValue(root, TaggingKey(), name);
    const auto number = static_cast<uint32_t>(XRegistryTree::ToInteger(value, &missing));
    return missing ? std::nullopt : std::optional(number);
}

// The user's tagging options, all from one read, with safe editing on.
std::unique_ptr<XJSON::Object> SafeSettings(OwnSettings::Purpose purpose) {
    auto root = std::make_unique<XJSON::Object>();
    XJSON::Object& key = XRegistryTree::CreateKey(*root, TaggingKey());
    const sharedRegReadScope settings;
    if (purpose == OwnSettings::Purpose::Editing && !settings.IsTree()) throw Unreadable();
    const XJSON::Object* user = XRegistryTree::FindKey(settings.Root(), TaggingKey());
    for (int i = 0; user && i < user->Count(); ++i) key.AddAny(user->NameAt(i), user->ItemAt(i).Clone());
    XRegistryTree::SetValue(key, TaggingOptions::SafeEditName, std::make_unique<XJSON::Number>(1));
    return root;
}

}  // namespace

void RequireReadableSettings() {
    if (!XRegistry::IsFileReadable()) throw Unreadable();
}

std::optional<uint32_t> ReadTaggingOption(const std::string& name) {
    const sharedRegReadScope settings;
    if (!settings.IsUsable()) throw Unreadable();
    return NumberIn(settings.Root(), FromUTF8(name).c_str());
}

OwnSettings::OwnSettings(Purpose purpose) : file_(Platform::MemoryFile()), root_(SafeSettings(purpose)) {
    if (!file_.IsOpen()) throw SystemFailure(kCannotOffer);
    listText_ = NumberIn(*root_, TaggingOptions::LISTTextName).value_or(kUTF16);
    listPlace_ = NumberIn(*root_, TaggingOptions::LISTPlaceName);
    XRegistry::SetRegFileLocation(L"/dev/fd/" + std::to_wstring(file_.Number()), true);
    OfferEveryForm();
    if (!TaggingOptions::Read().rules.safe) throw Failure(kCannotOffer);
}

void OwnSettings::OfferEveryForm() { Offer(kUTF16, listPlace_.value_or(0)); }

void OwnSettings::Offer(uint32_t listText, uint32_t listPlace) {
    XJSON::Object& key = XRegistryTree::CreateKey(*root_, TaggingKey());
    XRegistryTree::SetValue(key, TaggingOptions::LISTTextName, std::make_unique<XJSON::Number>(listText));
    XRegistryTree::SetValue(key, TaggingOptions::LISTPlaceName, std::make_unique<XJSON::Number>(listPlace));
    const std::string text = ToUTF8(JoinUnits(root_->ToText()));
    XFile file;
    file.Open(reinterpret_cast<void*>(intptr_t{file_.Number()}));
    if (!file.SetFileSize(0) || !file.SetPosition(0) || !file.Write(text.data(), text.size())) {
        throw SystemFailure(kCannotOffer);
    }
    MarkAsOld();
}

// Readers keep what they have read of a file that has not just been written. Each version has a time of its own.
void OwnSettings::MarkAsOld() {
    const timespec time{++versions_, 0};
    const timespec times[] = {time, time};
    ::futimens(file_.Number(), times);
}

OwnSettings::Edit::~Edit() {
    try {
        End();
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): another error ended the edit
    }
}

void OwnSettings::Edit::End() {
    if (OwnSettings* settings = std::exchange(settings_, nullptr)) settings->OfferEveryForm();
}

}  // namespace w64
