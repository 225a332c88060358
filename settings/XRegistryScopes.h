#pragma once

#include "settings/XJSON.h"
#include "settings/XRegistryFile.h"

#include <memory>
#include <mutex>

namespace w64 {

// The settings as they are in the file, locked for this thread while the scope lives: one reading, however many
// values are asked for. All readers of the process share one parsed copy, which is loaded again when the file
// has changed.
class sharedRegReadScope {
public:
    sharedRegReadScope();

    // Empty where the file cannot be opened or does not read as settings.
    const XJSON::Object& Root() const;

    // False for a file that is there but cannot be opened, or of which a part does not read as settings.
    bool IsUsable() const;

private:
    std::lock_guard<std::mutex> lock_;
};

// One read, change and write of the settings file, which nobody else reads or writes meanwhile.
class regWriteScope {
public:
    // A file that is missing is made, or else it is an empty tree that cannot be committed.
    explicit regWriteScope(bool makesFile);

    // Null where the file cannot be opened, does not read as settings, or holds what no tree does: there is
    // nothing to commit to.
    XJSON::Object* Root() { return root_.get(); }

    // Writes the changed tree and ends the scope, which otherwise leaves the file as it was. When false, so it
    // is too: the file cannot be written, or the tree has text that UTF-8 does not.
    [[nodiscard]] bool Commit();

private:
    XRegistryFile file_;
    std::unique_ptr<XJSON::Object> root_;
};

}  // namespace w64
