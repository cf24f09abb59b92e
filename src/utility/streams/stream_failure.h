#ifndef TUZUTIL_STREAM_FAILURE
#define TUZUTIL_STREAM_FAILURE

// TStreamFailure: an exception that passes through standard streams, like the exceptions of DOTBYTE.h. If a buffer
// throws, its stream sets badbit or failbit. Unless the stream's exception mask contains that bit, the stream drops the
// exception. A TStreamFailure therefore has a token, which lists the streams that the exception passes. While the token
// exists, the masks of these streams contain both bits. When the last token that lists a stream is destroyed, both bits
// are cleared in the stream's mask and in its state, except those that were set before.

#include "tuzutil/STRMCTL.h"

#include "utility/kernel/raise.h"

#include <ios>
#include <memory>
#include <vector>

// A link refers to one stream. The stream's TStreamControl (STRMCTL.h) and the exceptions that pass through the stream
// share the link, so the link may outlive the stream.
class TStreamLink {
public:
    explicit TStreamLink(std::ios *stream) noexcept : fStream(stream) {}

    void Cut() noexcept { fStream = nullptr; } // called before the stream is destroyed
    void Hold() noexcept;                      // lets exceptions through; REQUIRES: Cut() was not called
    void Release() noexcept;                   // restores the stream when it has been called as many times as Hold()

private:
    std::ios *fStream;
    unsigned int fHolds = 0;
    // The bits badbit and failbit of the mask and of the state, as they were before the first Hold().
    std::ios_base::iostate fMaskBefore = std::ios_base::goodbit;
    std::ios_base::iostate fStateBefore = std::ios_base::goodbit;
};

// The base by which Relay() recognises the exceptions that pass through streams, whatever their other base is.
class TStreamFailure {
public:
    virtual ~TStreamFailure();

    void Reach(TStreamControl &control); // lets the exception pass through the stream of `control`; allocates

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

    std::shared_ptr<TToken> fToken; // shared by the copies of the exception; the last copy releases the streams
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

// Runs the body of a buffer's virtual operation. If a TStreamFailure leaves the body, Relay() makes the exception pass
// through the stream of `control`. The exception may come from an inner stream.
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
