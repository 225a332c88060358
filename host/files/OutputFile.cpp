#include "host/files/OutputFile.h"

#include "base/Platform.h"
#include "host/files/JournalledEdit.h"
#include "host/terminal/Failure.h"

#include <sys/stat.h>
#include <unistd.h>

namespace w64 {

namespace fs = std::filesystem;

namespace {

fs::path Usable(fs::path path, bool replace) {
    OutputFile::RequireUsable(path, replace);
    return path;
}

}  // namespace

OutputFile::OutputFile(fs::path path, bool replace)
    : path_(Usable(std::move(path), replace)), replace_(replace), temp_(path_.parent_path()) {}

// Commit makes sure that the name is still free.
void OutputFile::RequireUsable(const fs::path& path, bool replace) {
    const std::string name = "'" + path.native() + "'";
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) return;
    if (!fs::is_regular_file(status)) throw Failure(name + " is not a regular file");
    if (!replace) throw Failure(name + " exists already; --force replaces it");
}

const fs::path& OutputFile::Close() {
    Flush();
    Platform::DropFromCache(File().Descriptor());
    File().Close();
    return temp_.Path();
}

void OutputFile::Flush() {
    const int descriptor = File().Descriptor();
    if (::fsync(descriptor) != 0) throw SystemFailure("cannot write '" + path_.native() + "'");
    struct stat old {};
    if (replace_ && ::stat(path_.c_str(), &old) == 0) {
        ::fchmod(descriptor, old.st_mode & 07777);  // keeps who may read it
    }
}

void OutputFile::Commit() {
    if (File().IsOpen()) Flush();
    if (!replace_) return MoveToFreeName();
    const bool leavesJournal = HasInterruptedEdit(path_);
    if (::rename(temp_.Path().c_str(), path_.c_str()) != 0) {
        throw SystemFailure("cannot replace '" + path_.native() + "'");
    }
    // An edit of the old file must not be finished in this one.
    if (leavesJournal && XFile::SyncFolder(path_.parent_path().native()))
        Journal::Of(path_).Remove("an edit of the file is dropped");
}

// Unlike a rename, a link never replaces a file that another program has put there meanwhile.
void OutputFile::MoveToFreeName() {
    if (::link(temp_.Path().c_str(), path_.c_str()) == 0) return temp_.Remove();
    std::error_code ignored;
    if (errno == EEXIST || fs::exists(path_, ignored))
        throw Failure("'" + path_.native() + "' exists already; --force replaces it");
    // Some file systems have no links.
    if (::rename(temp_.Path().c_str(), path_.c_str()) != 0) {
        throw SystemFailure("cannot create '" + path_.native() + "'");
    }
}

void RefuseToReplaceInput(const fs::path& input, const fs::path& output) {
    std::error_code error;
    if (!fs::equivalent(input, output, error)) return;
    throw Failure("the output would replace this file itself; choose another name for it");
}

}  // namespace w64
