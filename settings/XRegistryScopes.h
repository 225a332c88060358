#pragma once

#include "base/XFile.h"
#include "settings/XJSON.h"

#include <memory>
#include <mutex>
#include <string>

// The settings as they are in the file, locked for this thread while the scope lives. All readers of the
// process share one parsed copy, which is loaded again when the file has changed. What cannot be opened or does
// not read as settings is an empty tree.
class sharedRegReadScope {
public:
    sharedRegReadScope();

    const XJSON::Object& Root() const;

private:
    std::lock_guard<std::mutex> lock_;
};

// Whether what is in the file, if there is one, can be read.
bool IsSettingsFileReadable();

// One read, change and write of the settings file, which nobody else reads or writes meanwhile.
class regWriteScope {
public:
    // Makes the file where it is missing.
    regWriteScope();

    // Null where the file cannot be opened or does not read as settings: there is nothing to commit to.
    XJSON::Object* Root() { return root_.get(); }

    // Writes the changed tree and ends the scope, which otherwise leaves the file as it was. When false, the
    // file holds its old text.
    [[nodiscard]] bool Commit();

private:
    bool Replace(const std::string& text);

    XFile file_;
    std::string text_;  // as read
    std::unique_ptr<XJSON::Object> root_;
};
