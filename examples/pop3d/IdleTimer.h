#ifndef POP3D_IDLETIMER_H
#define POP3D_IDLETIMER_H

// IdleTimer: how long a client may keep the server waiting for a command (RFC 1939 wants 10 minutes at least). The
// session starts and stops it, the server asks.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TIMER.h"
#include "tuzutil/TREFCNT.h"

#include <chrono>

namespace pop3d {

class IdleTimer {
public:
    explicit IdleTimer(long seconds) : fSeconds(seconds) {}

    void Start() { fTimer.Set(std::chrono::seconds(fSeconds)); }
    void Stop() { fTimer.Cancel(); }
    bool IsOver() const { return fEvent->Wait(0) == 0; } // until it is started again

private:
    long fSeconds;
    TReference<TSemaphore> fEvent{new TSemaphore};
    TTimer fTimer{fEvent};
};

} // namespace pop3d

#endif
