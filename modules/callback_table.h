// callback_table.h - the engine's own callbacks: CB_LOG and CB_HOSTTEXT, and no operation adds or removes a
// kind. Any thread. A callback is copied out and called without the lock.
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

    /// Nulls for a kind that is not there.
    CallbackPair find(LUMETRA_CBTYPE kind) const;
    /// False for a kind that is not there.
    bool replace(LUMETRA_CBTYPE kind, CallbackPair pair);
    /// What the kind begins with; false as above.
    bool reset(LUMETRA_CBTYPE kind);
    /// Ascending.
    std::vector<LUMETRA_CBTYPE> kinds() const;

private:
    Synchronized<std::map<LUMETRA_CBTYPE, CallbackPair>> m_callbacks;
};

}  // namespace lumetra

#endif
