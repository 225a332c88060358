#include "base/XApplication.h"

#include "base/Platform.h"

namespace w64 {

XStr XApplication::ApplicationPath() {
    XStr folder = Platform::ExecutablePath();
    folder.erase(folder.find_last_of(L'/') + 1);
    // Left when a program is started as "./name".
    while (folder.ends_with(L"/./")) folder.erase(folder.size() - 2);
    if (folder.size() > 1 && folder.ends_with(L'/')) folder.pop_back();
    return folder;
}

}  // namespace w64
