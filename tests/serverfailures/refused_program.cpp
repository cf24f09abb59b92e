// The part of a program on Windows whose calls fail. The other parts are those of the program itself.

#include "serverfailures/refuser_win32.h"

namespace {

struct TRefusing {
    TRefusing() { BeginToRefuse(); }
    TRefusing(TRefusing const &) = delete;
    TRefusing &operator=(TRefusing const &) = delete;
    ~TRefusing() { EndRefusing(); }
} const fsRefusing;

} // namespace
