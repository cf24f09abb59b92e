// TStreamControl, TStreamLink and TStreamFailure: they let the exceptions of DOTBYTE.h pass through the stream whose
// buffer throws them. The stream would otherwise drop such an exception (see streams/stream_failure.h). A stream and
// its exceptions belong to one thread, so no lock is taken.

#include "utility/streams/stream_failure.h"

namespace {

// The bits that a stream may set when its buffer throws. Most operations of a stream set badbit. The operations that
// copy from one buffer to another may set failbit.
constexpr std::ios_base::iostate fsBits = std::ios_base::badbit | std::ios_base::failbit;

// Runs a change of a stream's mask or state. The stream makes the change, and then throws if mask and state have a
// common bit. This exception is dropped.
template <typename F>
void Quietly(F change) noexcept {
    try {
        change();
    } catch (std::ios_base::failure const &) {
    }
}

} // namespace

TStreamControl::~TStreamControl() {
    Attach(nullptr);
}

void TStreamControl::Attach(std::ios *stream) noexcept {
    if (fLink) {
        fLink->Cut();
        fLink.reset();
    }
    fStream = stream;
}

bool TStreamControl::IsUnitBuffered() const noexcept {
    return fStream && (fStream->flags() & std::ios_base::unitbuf);
}

std::shared_ptr<TStreamLink> const &TStreamControl::Link() {
    if (fStream && !fLink)
        fLink = std::make_shared<TStreamLink>(fStream);
    return fLink;
}

void TStreamLink::Hold() noexcept {
    if (fHolds++ != 0)
        return;
    fMaskBefore = fStream->exceptions() & fsBits;
    fStateBefore = fStream->rdstate() & fsBits;
    Quietly([this] { fStream->exceptions(fStream->exceptions() | fsBits); });
}

void TStreamLink::Release() noexcept {
    if (--fHolds != 0 || !fStream)
        return;
    Quietly([this] { fStream->exceptions(fStream->exceptions() & ~(fsBits & ~fMaskBefore)); });
    Quietly([this] { fStream->clear(fStream->rdstate() & ~(fsBits & ~fStateBefore)); });
}

TStreamFailure::TStreamFailure() : fToken(std::make_shared<TToken>()) {}

TStreamFailure::~TStreamFailure() = default;

void TStreamFailure::Reach(TStreamControl &control) {
    std::shared_ptr<TStreamLink> const &link = control.Link();
    if (!link)
        return;
    fToken->links.push_back(link);
    link->Hold();
}

TStreamFailure::TToken::~TToken() {
    for (std::shared_ptr<TStreamLink> const &link : links)
        link->Release();
}
