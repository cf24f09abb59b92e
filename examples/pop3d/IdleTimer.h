#ifndef POP3D_IDLETIMER_H
#define POP3D_IDLETIMER_H

// IdleTimer: says whether a client has sent no command for too long. (RFC 1939 requires that the server waits for at
// least 10 minutes.) The session starts and stops the timer. The server calls IsOver().

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
    bool IsOver() const { return fEvent->Wait(0) == 0; } // true from the end of the time until the next Start()

private:
    long fSeconds;
    TReference<TSemaphore> fEvent{new TSemaphore};
    TTimer fTimer{fEvent};
};

} // namespace pop3d

#endif
