#pragma once

#include "settings/XJSON.h"

#include <vector>

namespace w64 {

// One change of a settings tree that is still to be made.
struct STRegistryTransactionEntry {
    enum class Operation { SetValue, DeleteValue, DeleteKey, CopyKey };

    Operation operation;
    std::vector<XStr> key;             // the names on the way to the key that is changed
    XStr valueName = {};               // of SetValue and DeleteValue
    XJSON::AnyPtr value = {};          // of SetValue
    std::vector<XStr> sourceKey = {};  // of CopyKey

    // Whether the tree changed. XJSON::Error when it would become too deep.
    bool Apply(XJSON::Object& root) const;
};

}  // namespace w64
