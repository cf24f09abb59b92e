#ifndef TUZUTIL_STREAM_FAILURE
#define TUZUTIL_STREAM_FAILURE

// How the library's stream buffers throw. The exception carries a token. While the token exists, the streams that the
// exception passes let it through; when it is destroyed, they get their former mask and state back.

#include "tuzutil/STRMCTL.h"

#include "utility/kernel/raise.h"

#include <ios>
#include <memory>
#include <vector>

// One stream, shared by its control and by the exceptions under way. Survives both.
class TStreamLink {
public:
    explicit TStreamLink(std::ios *stream) noexcept : fStream(stream) {}

    void Cut() noexcept { fStream = nullptr; } // the stream ends
    void Hold() noexcept;                      // lets exceptions through until as many calls of Release()
    void Release() noexcept;

private:
    std::ios *fStream;
    unsigned int fHolds = 0;
    // What mask and state had of badbit and failbit before the first hold.
    std::ios_base::iostate fMaskBefore = std::ios_base::goodbit;
    std::ios_base::iostate fStateBefore = std::ios_base::goodbit;
};

// The part that marks an exception as one of ours, whatever its class.
class TStreamFailure {
public:
    virtual ~TStreamFailure();

    void Reach(TStreamControl &control); // allocates

protected:
    TStreamFailure();
    TStreamFailure(TStreamFailure const &) = default;
    TStreamFailure &operator=(TStreamFailure const &) = default;

private:
    struct TToken {
        TToken() = default;
        TToken(TToken const &) = delete;
        TToken &operator=(TToken const &) = delete;
        ~TToken();
        std::vector<std::shared_ptr<TStreamLink>> links;
    };

    std::shared_ptr<TToken> fToken; // the last copy of the exception releases the streams
};

template <typename E>
class TStreamFailureOf : public E, public TStreamFailure {
public:
    explicit TStreamFailureOf(TFailure const &failure) : E(failure.text, failure.errorId, failure.severity) {
        Prepare(static_cast<E &>(*this), failure);
    }
};

template <typename E>
[[noreturn]] void RaiseThroughStreams(TFailure const &failure) {
    throw TStreamFailureOf<E>(failure);
}

// Runs the body of a buffer's virtual operation; what it throws, or what passes through it from an inner stream, gets
// through the stream that the control names.
template <typename F>
auto Relay(TStreamControl &control, F body) -> decltype(body()) {
    try {
        return body();
    } catch (TStreamFailure &failure) {
        failure.Reach(control);
        throw;
    }
}

#endif
