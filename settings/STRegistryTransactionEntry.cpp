#include "settings/STRegistryTransactionEntry.h"

#include "settings/XRegistryTree.h"

namespace w64 {

bool STRegistryTransactionEntry::Apply(XJSON::Object& root) const {
    switch (operation) {
    case Operation::SetValue:
        XRegistryTree::SetValue(XRegistryTree::CreateKey(root, key), valueName, value->Clone());
        return true;
    case Operation::DeleteValue:
        return XRegistryTree::DeleteValue(root, key, valueName);
    case Operation::DeleteKey:
        return XRegistryTree::DeleteKey(root, key);
    case Operation::CopyKey:
        break;
    }
    return XRegistryTree::CopyKey(root, sourceKey, key);
}

}  // namespace w64
