#ifndef TUZUTIL_TESTS_COROUTINE_H
#define TUZUTIL_TESTS_COROUTINE_H

// TCoroutine: a function with a stack of its own. Enter() runs the function until it calls Leave() or returns, and the
// next Enter() goes on there. All calls must come from one thread of the system. A coroutine that never came to its end
// may be destroyed. The objects on its stack are lost then. On Windows, the thread that calls Enter() becomes a fiber.

#include <cstdlib>
#include <functional>
#include <memory>
#include <utility>

#ifdef _WIN32
#include <windows.h>
#else
#include <ucontext.h>
#endif

namespace interleavings {

class TCoroutine {
public:
    TCoroutine() = default;
    TCoroutine(TCoroutine const &) = delete;
    TCoroutine &operator=(TCoroutine const &) = delete;

    bool HasEnded() const { return fHasEnded; }

#ifdef _WIN32
    ~TCoroutine() {
        Delete();
    }

    // The next Enter() begins the function. The coroutine keeps its stack.
    void Begin(std::function<void()> body) {
        if (!fHasEnded)
            Delete();
        if (!fFiber)
            fFiber = CreateFiber(0, &TCoroutine::Run, this);
        if (!fFiber)
            std::abort();
        fBody = std::move(body);
        fHasEnded = false;
    }
    void Enter() {
        if (!fsCaller)
            fsCaller = ConvertThreadToFiber(nullptr);
        if (!fsCaller)
            std::abort();
        SwitchToFiber(fFiber);
    }
    void Leave() {
        SwitchToFiber(fsCaller);
    }

private:
    static void WINAPI Run(void *given) {
        auto &self = *static_cast<TCoroutine *>(given);
        for (;;) {
            self.fBody();
            self.fHasEnded = true;
            self.Leave();
        }
    }

    void Delete() {
        if (fFiber)
            DeleteFiber(fFiber);
        fFiber = nullptr;
    }

    static inline void *fsCaller = nullptr; // the fiber that the thread has become

    void *fFiber = nullptr;
#else
    // The next Enter() begins the function. The coroutine keeps its stack.
    void Begin(std::function<void()> body) {
        if (!fStack)
            fStack.reset(new char[fsStackSize]);
        fBody = std::move(body);
        fHasEnded = false;
        ::getcontext(&fContext);
        fContext.uc_stack.ss_sp = fStack.get();
        fContext.uc_stack.ss_size = fsStackSize;
        fContext.uc_link = nullptr;
        ::makecontext(&fContext, &TCoroutine::Run, 0);
    }
    void Enter() {
        fsBegun = this;
        ::swapcontext(&fCaller, &fContext);
    }
    void Leave() {
        ::swapcontext(&fContext, &fCaller);
    }

private:
    static constexpr std::size_t fsStackSize = 1 << 17;

    static void Run() {
        TCoroutine &self = *fsBegun;
        self.fBody();
        self.fHasEnded = true;
        self.Leave();
    }

    static inline TCoroutine *fsBegun = nullptr; // the one that was entered last

    std::unique_ptr<char[]> fStack;
    ucontext_t fContext{};
    ucontext_t fCaller{};
#endif

    std::function<void()> fBody;
    bool fHasEnded = true;
};

} // namespace interleavings

#endif
