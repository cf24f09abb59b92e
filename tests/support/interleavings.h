#ifndef TUZUTIL_TESTS_INTERLEAVINGS_H
#define TUZUTIL_TESTS_INTERLEAVINGS_H

// Runs a few threads in every order in which their steps can follow each other. The threads are coroutines of one
// thread of the system, so each run can be repeated exactly. A step ends before each operation on a TModelAtomic, and
// in the functions that wait for a word and wake its waiters. The memory is sequentially consistent.
//
// A run is described by its choices: at each step the number of the thread that runs next, among those that can run. A
// thread that is not blocked is interrupted at most `preemptions` times in a run. This bound keeps the number of runs
// small; nearly all faults of this kind need two interruptions at most.

#include "support/coroutine.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
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
    long late = 0;     // how often a late limit has passed
    std::string fault; // the first one, with the choices that lead to it, or empty
};

// The time limit of a wait.
enum class TLimit {
    none, // the wait has no limit
    soon, // the time may pass at any moment
    late  // the time passes only if no thread can go on
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
            result.late = scheduler.fLateCount;
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

    // Blocks the thread until the condition holds or the time has passed. Returns whether the condition holds.
    static bool WaitUntil(std::function<bool()> condition, TLimit limit) {
        TThread &self = *fsRunning->fCurrent;
        self.condition = std::move(condition);
        self.limit = limit;
        fsRunning->Switch();
        bool const holds = self.condition();
        self.condition = nullptr;
        return holds;
    }

    // Blocks the thread until it is woken or the time has passed. Returns whether the thread was woken.
    static bool Wait(void const *word, TLimit limit) {
        TThread &self = *fsRunning->fCurrent;
        self.waitsFor = word;
        bool const wasWoken = WaitUntil([&self] { return self.waitsFor == nullptr; }, limit);
        self.waitsFor = nullptr;
        return wasWoken;
    }

    static void Wake(void const *word, int count) {
        if (!fsRunning)
            return;
        for (auto const &thread : fsRunning->fThreads) {
            if (count > 0 && thread->waitsFor == word) {
                thread->waitsFor = nullptr;
                --count;
            }
        }
    }

    // The number of the thread that runs; 0 before and after the run.
    static std::size_t Self() { return fsRunning ? fsRunning->fCurrent->number : 0; }

    static bool HasEnded(std::size_t number) { return fsRunning->fThreads[number]->coroutine->HasEnded(); }

    // Starts a further thread of the scenario. Called by one of its threads.
    static void Start(std::function<void()> body) { fsRunning->Add(std::move(body)); }

private:
    struct TThread {
        std::size_t number = 0;
        std::function<void()> body;
        std::unique_ptr<TCoroutine> coroutine;
        std::function<bool()> condition; // for which the thread waits, or null
        TLimit limit = TLimit::none;
        void const *waitsFor = nullptr; // the word for which the thread waits, or null

        bool IsBlocked() const { return condition && !condition(); }
        bool CanGoOn() const { return !coroutine->HasEnded() && !IsBlocked(); }
        bool CanTimeOut(TLimit by) const { return !coroutine->HasEnded() && limit == by && IsBlocked(); }
    };
    struct TChoice {
        std::size_t taken;
        std::size_t count;
    };

    static constexpr long fsMostSteps = 5000;

    explicit TScheduler(int preemptions) : fPreemptions(preemptions) {}

    std::string Run(TScenario const &scenario) {
        for (auto const &thread : fThreads)
            fCoroutines.push_back(std::move(thread->coroutine));
        fThreads.clear();
        fNext = 0;
        fPreemptionsLeft = fPreemptions;
        fFault.clear();
        fSteps = 0;
        fLate = 0;
        fsRunning = this;
        for (auto const &body : scenario.threads)
            Add(body);
        fCurrent = nullptr;
        while (TThread *const next = Choose()) {
            fCurrent = next;
            next->coroutine->Enter();
        }
        fsRunning = nullptr;
        return fFault.empty() ? scenario.check() : fFault;
    }

    void Add(std::function<void()> body) {
        auto thread = std::make_unique<TThread>();
        thread->number = fThreads.size();
        if (fCoroutines.empty())
            fCoroutines.push_back(std::make_unique<TCoroutine>());
        thread->coroutine = std::move(fCoroutines.back());
        fCoroutines.pop_back();
        // The body is kept until the next run, because the objects that it holds must not end within this one.
        thread->body = std::move(body);
        thread->coroutine->Begin([&thread = *thread] { thread.body(); });
        fThreads.push_back(std::move(thread));
    }

    void Switch() { fCurrent->coroutine->Leave(); }

    // Returns the thread that runs next, or null if all have ended or there is a fault.
    TThread *Choose() {
        if (++fSteps > fsMostSteps) {
            fFault = "the threads do not end";
            return nullptr;
        }
        bool const canGoOn = fCurrent && fCurrent->CanGoOn();
        std::vector<TThread *> ready;
        if (canGoOn)
            ready.push_back(fCurrent);
        for (auto const &thread : fThreads) {
            bool const isReady = thread->CanGoOn() || thread->CanTimeOut(TLimit::soon);
            if (isReady && thread.get() != fCurrent && (!canGoOn || fPreemptionsLeft > 0))
                ready.push_back(thread.get());
        }
        if (fCurrent && fCurrent->CanTimeOut(TLimit::soon))
            ready.push_back(fCurrent);
        for (std::size_t i = 0; ready.empty() && i < fThreads.size(); ++i) {
            fLate = (fLate + 1) % fThreads.size(); // each thread in turn
            if (fThreads[fLate]->CanTimeOut(TLimit::late)) {
                ready.push_back(fThreads[fLate].get());
                ++fLateCount;
            }
        }
        if (ready.empty()) {
            auto const hasEnded = [](auto const &thread) { return thread->coroutine->HasEnded(); };
            if (!std::all_of(fThreads.begin(), fThreads.end(), hasEnded))
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
    std::vector<std::unique_ptr<TCoroutine>> fCoroutines; // of the threads of earlier runs
    std::vector<TChoice> fChoices;
    std::size_t fNext = 0;
    long fSteps = 0;
    long fLateCount = 0;
    std::size_t fLate = 0; // the thread whose late limit has passed last
    TThread *fCurrent = nullptr;
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
