// callback_table.h - the engine's own callbacks, CB_LOG and CB_HOSTTEXT; the set of kinds never changes.
// Any thread. A callback is copied out and called without the lock.
#ifndef LUMETRA_MODULES_CALLBACK_TABLE_H
#define LUMETRA_MODULES_CALLBACK_TABLE_H

#include <map>
#include <utility>
#include <vector>

#include "LumetraCore/LumetraTypes.h"
#include "base/synchronized.h"

namespace lumetra {

using CallbackPair = std::pair<void*, void*>;  // function, user pointer

class CallbackTable {
public:
    /// The default log sink and no text exchange.
    CallbackTable();

    /// Nulls for an unknown kind.
    CallbackPair find(LUMETRA_CBTYPE kind) const;
    /// False for an unknown kind.
    bool replace(LUMETRA_CBTYPE kind, CallbackPair pair);
    /// Restores the default; false for an unknown kind.
    bool reset(LUMETRA_CBTYPE kind);
    /// Ascending.
    std::vector<LUMETRA_CBTYPE> kinds() const;

private:
    Synchronized<std::map<LUMETRA_CBTYPE, CallbackPair>> m_callbacks;
};

}  // namespace lumetra

#endif
