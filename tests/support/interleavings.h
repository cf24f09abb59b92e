#ifndef TUZUTIL_TESTS_INTERLEAVINGS_H
#define TUZUTIL_TESTS_INTERLEAVINGS_H

// Runs a few threads in every order in which their steps can follow each other. The threads are coroutines of one
// thread of the system, so each run can be repeated exactly. A step ends before each operation on a TModelAtomic, and
// in the functions that wait for a word and wake its waiters. The memory is sequentially consistent.
//
// A run is described by its choices: at each step the number of the thread that runs next, among those that can run. A
// thread that is not blocked is interrupted at most `preemptions` times in a run. This bound keeps the number of runs
// small; nearly all faults of this kind need two interruptions at most.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <ucontext.h>
#include <utility>
#include <vector>

namespace interleavings {

// The bodies of the threads, and what must be true when all have ended. Returns an empty text, or what is wrong.
struct TScenario {
    std::vector<std::function<void()>> threads;
    std::function<std::string()> check;
};

struct TResult {
    long runs = 0;
    std::string fault; // the first one, with the choices that lead to it, or empty
};

class TScheduler {
public:
    // Explores a scenario, which `make` makes anew for each run. Stops at the first fault.
    static TResult Explore(std::function<TScenario()> const &make, int preemptions) {
        TScheduler scheduler(preemptions);
        TResult result;
        do {
            ++result.runs;
            result.fault = scheduler.Run(make());
            if (!result.fault.empty())
                result.fault += scheduler.Choices();
        } while (result.fault.empty() && scheduler.NextChoices());
        return result;
    }

    // A place at which another thread may run.
    static void Step() {
        if (fsRunning)
            fsRunning->Switch();
    }

    // Blocks the thread until it is woken. If the wait is limited, the time may pass at any moment. Returns whether the
    // thread was woken.
    static bool Wait(void const *word, bool isLimited) {
        TThread &self = *fsRunning->fCurrent;
        self.waitsFor = word;
        self.isLimited = isLimited;
        self.wasWoken = false;
        fsRunning->Switch();
        return self.wasWoken;
    }

    static void Wake(void const *word, int count) {
        if (!fsRunning)
            return;
        for (auto const &thread : fsRunning->fThreads) {
            if (count > 0 && thread->waitsFor == word) {
                thread->waitsFor = nullptr;
                thread->wasWoken = true;
                --count;
            }
        }
    }

    // The number of the thread that runs; 0 before and after the run.
    static std::size_t Self() { return fsRunning ? fsRunning->fCurrent->number : 0; }

    // Starts a further thread of the scenario. Called by one of its threads.
    static void Start(std::function<void()> body) { fsRunning->Add(std::move(body)); }

private:
    struct TThread {
        std::size_t number = 0;
        std::function<void()> body;
        std::unique_ptr<char[]> stack;
        ucontext_t context{};
        void const *waitsFor = nullptr; // the word, or null
        bool isLimited = false;
        bool wasWoken = false;
        bool hasEnded = false;
    };
    struct TChoice {
        std::size_t taken;
        std::size_t count;
    };

    static constexpr std::size_t fsStackSize = 1 << 17;
    static constexpr long fsMostSteps = 5000;

    explicit TScheduler(int preemptions) : fPreemptions(preemptions) {}

    std::string Run(TScenario const &scenario) {
        for (auto const &thread : fThreads)
            fStacks.push_back(std::move(thread->stack));
        fThreads.clear();
        fNext = 0;
        fPreemptionsLeft = fPreemptions;
        fFault.clear();
        fSteps = 0;
        fsRunning = this;
        for (auto const &body : scenario.threads)
            Add(body);
        fCurrent = nullptr;
        while (TThread *const next = Choose()) {
            fCurrent = next;
            if (next->waitsFor) // only a limited wait is chosen; its time has passed
                next->waitsFor = nullptr;
            ::swapcontext(&fMain, &next->context);
        }
        fsRunning = nullptr;
        return fFault.empty() ? scenario.check() : fFault;
    }

    void Add(std::function<void()> body) {
        auto thread = std::make_unique<TThread>();
        thread->number = fThreads.size();
        thread->body = std::move(body);
        if (fStacks.empty())
            fStacks.emplace_back(new char[fsStackSize]);
        thread->stack = std::move(fStacks.back());
        fStacks.pop_back();
        ::getcontext(&thread->context);
        thread->context.uc_stack.ss_sp = thread->stack.get();
        thread->context.uc_stack.ss_size = fsStackSize;
        thread->context.uc_link = nullptr;
        ::makecontext(&thread->context, &TScheduler::Begin, 0);
        fThreads.push_back(std::move(thread));
    }

    static void Begin() {
        TScheduler &scheduler = *fsRunning;
        scheduler.fCurrent->body();
        scheduler.fCurrent->hasEnded = true;
        ::swapcontext(&scheduler.fCurrent->context, &scheduler.fMain);
    }

    void Switch() { ::swapcontext(&fCurrent->context, &fMain); }

    // Returns the thread that runs next, or null if all have ended or there is a fault.
    TThread *Choose() {
        if (++fSteps > fsMostSteps) {
            fFault = "the threads do not end";
            return nullptr;
        }
        bool const canGoOn = fCurrent && !fCurrent->hasEnded && !fCurrent->waitsFor;
        std::vector<TThread *> ready;
        if (canGoOn)
            ready.push_back(fCurrent);
        bool areAllOver = true;
        for (auto const &thread : fThreads) {
            areAllOver = areAllOver && thread->hasEnded;
            bool const isReady = !thread->hasEnded && (!thread->waitsFor || thread->isLimited);
            if (isReady && thread.get() != fCurrent && (!canGoOn || fPreemptionsLeft > 0))
                ready.push_back(thread.get());
        }
        if (!canGoOn && fCurrent && fCurrent->waitsFor && fCurrent->isLimited)
            ready.push_back(fCurrent);
        if (ready.empty()) {
            if (!areAllOver)
                fFault = "the threads wait for ever";
            return nullptr;
        }
        TThread *const next = ready[Take(ready.size())];
        if (!fFault.empty())
            return nullptr;
        if (canGoOn && next != fCurrent)
            --fPreemptionsLeft;
        return next;
    }

    std::size_t Take(std::size_t count) {
        if (fNext == fChoices.size())
            fChoices.push_back({0, count});
        TChoice const &choice = fChoices[fNext++];
        if (choice.count != count) { // something of an earlier run is left
            fFault = "the same choices lead to another run";
            return 0;
        }
        return choice.taken;
    }

    // Returns the steps at which the run did not go on with its first choice.
    std::string Choices() const {
        std::string text;
        for (std::size_t step = 0; step < fChoices.size() && text.size() < 500; ++step) {
            if (fChoices[step].taken != 0)
                text += "; at step " + std::to_string(step) + " choice " + std::to_string(fChoices[step].taken);
        }
        return text;
    }

    bool NextChoices() {
        while (!fChoices.empty() && fChoices.back().taken + 1 == fChoices.back().count)
            fChoices.pop_back();
        if (fChoices.empty())
            return false;
        ++fChoices.back().taken;
        return true;
    }

    static inline TScheduler *fsRunning = nullptr;

    int fPreemptions;
    int fPreemptionsLeft = 0;
    std::vector<std::unique_ptr<TThread>> fThreads;
    std::vector<std::unique_ptr<char[]>> fStacks; // of the threads of earlier runs
    std::vector<TChoice> fChoices;
    std::size_t fNext = 0;
    long fSteps = 0;
    TThread *fCurrent = nullptr;
    ucontext_t fMain{};
    std::string fFault;
};

// Has the members of std::atomic that the library uses.
template <typename T>
class TModelAtomic {
public:
    constexpr TModelAtomic(T value = T()) noexcept : fValue(value) {}
    TModelAtomic(TModelAtomic const &) = delete;
    TModelAtomic &operator=(TModelAtomic const &) = delete;

    template <typename... Order>
    T load(Order...) const noexcept {
        TScheduler::Step();
        return fValue;
    }
    template <typename... Order>
    void store(T value, Order...) noexcept {
        TScheduler::Step();
        fValue = value;
    }
    template <typename... Order>
    T exchange(T value, Order...) noexcept {
        TScheduler::Step();
        return std::exchange(fValue, value);
    }
    template <typename... Order>
    bool compare_exchange_strong(T &expected, T value, Order...) noexcept {
        TScheduler::Step();
        if (fValue != expected) {
            expected = fValue;
            return false;
        }
        fValue = value;
        return true;
    }
    template <typename... Order>
    bool compare_exchange_weak(T &expected, T value, Order... order) noexcept {
        return compare_exchange_strong(expected, value, order...);
    }
    template <typename... Order>
    T fetch_add(T value, Order...) noexcept {
        TScheduler::Step();
        return std::exchange(fValue, static_cast<T>(fValue + value));
    }
    template <typename... Order>
    T fetch_sub(T value, Order...) noexcept {
        TScheduler::Step();
        return std::exchange(fValue, static_cast<T>(fValue - value));
    }
    template <typename... Order>
    T fetch_and(T value, Order...) noexcept {
        TScheduler::Step();
        return std::exchange(fValue, static_cast<T>(fValue & value));
    }
    operator T() const noexcept { return load(); }
    T operator=(T value) noexcept {
        store(value);
        return value;
    }
    T operator++() noexcept { return static_cast<T>(fetch_add(1) + 1); }
    T operator++(int) noexcept { return fetch_add(1); }
    T operator--() noexcept { return static_cast<T>(fetch_sub(1) - 1); }
    T operator--(int) noexcept { return fetch_sub(1); }

    // Without a step.
    T Now() const noexcept { return fValue; }
    void SetNow(T value) noexcept { fValue = value; }

private:
    T fValue;
};

} // namespace interleavings

#endif
