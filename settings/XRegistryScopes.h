#pragma once

#include "settings/XJSON.h"
#include "settings/XRegistryFile.h"

#include <memory>
#include <mutex>

namespace w64 {

// The settings in the file, locked for this thread while the scope lives, so that all values come from the same
// state of the file. All readers of the process share one parsed copy, which is reloaded when the file changes.
class sharedRegReadScope {
public:
    sharedRegReadScope();

    // Empty if the file cannot be opened or parsed.
    const XJSON::Object& Root() const;

    // False if the file exists but cannot be opened, or not parsed to its end.
    bool IsUsable() const;

    // Also false if the text is something else than settings, and reads as if there were none.
    bool IsTree() const;

private:
    std::lock_guard<std::mutex> lock_;
};

// One read, change and write of the settings file under an exclusive lock.
class regWriteScope {
public:
    // A missing file is created if `makesFile` is set; otherwise it reads as an empty tree that cannot be
    // committed.
    explicit regWriteScope(bool makesFile);

    // Null if the file cannot be opened or parsed, or holds what the tree cannot represent; Commit must not be
    // called then.
    XJSON::Object* Root() { return root_.get(); }

    // Writes the changed tree and unlocks the file. Fails, and leaves the file unchanged, if it cannot be
    // written or the tree has text that UTF-8 cannot represent.
    [[nodiscard]] bool Commit();

private:
    XRegistryFile file_;
    std::unique_ptr<XJSON::Object> root_;
};

}  // namespace w64
