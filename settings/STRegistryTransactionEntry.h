#pragma once

#include "settings/XJSON.h"

#include <vector>

namespace w64 {

// One pending change of a settings tree.
struct STRegistryTransactionEntry {
    enum class Operation { SetValue, DeleteValue, DeleteKey, CopyKey };

    Operation operation;
    std::vector<XStr> key;             // path of the key that is changed
    XStr valueName = {};               // of SetValue and DeleteValue
    XJSON::AnyPtr value = {};          // of SetValue
    std::vector<XStr> sourceKey = {};  // of CopyKey

    // True if the tree changed. Throws XJSON::Error if it would become too deep.
    bool Apply(XJSON::Object& root) const;
};

}  // namespace w64
