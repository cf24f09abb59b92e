// Messages have no order and no equality; their texts have.
// error: use of deleted function .*operator==.*Message
// clang++ error: overload resolution selected deleted operator .==
#include "tuzutil/TXTMSG.h"

bool Use(TTextMessage const &one, TTextMessage const &other) {
#ifdef WRONG
    return one == other;
#else
    return one.QueryMessage() == other.QueryMessage();
#endif
}
