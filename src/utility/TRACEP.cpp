// TTracePoint, which writes a trace entry, and TTraceExit, which writes one at the end of a scope: their functions that
// are not inlined. The header calls most of these functions only if a trace destination may want the entry. If an entry
// cannot be made or written, it is left out, and the traced code continues. The functions in this file take no lock
// themselves.

#include "tuzutil/TRACEP.h"

#include "utility/kernel/drop_exceptions.h"

TTracePoint::THold::THold() noexcept : fHeld(platform::HoldCancellation()) {}

TTracePoint::THold::~THold() {
    platform::ReleaseCancellation(fHeld);
}

void TTracePoint::WriteOut(std::uint32_t level, TTrace::Category const &category, TTracePlace place, char const *format,
                           TagVar *values, unsigned long count) {
    TTextMessage message(format);
    message.MoveArguments(values, count);
    message.SetDebugging(place.file, place.line);
    TTrace::Base::WriteEntry(level, category, message);
}

void TTracePoint::WriteValues(std::uint32_t level, TTrace::Category const &category, TTracePlace place,
                              char const *format, TagVar *values, unsigned long count) noexcept {
    TagVar *end = values;
    while (end != values + count && !end->IsNil() && !end->IsEndOfArgs())
        ++end;
    if (TTrace::Base::WriteLine(level, category, place.file, place.line, format, values,
                                static_cast<std::uint32_t>(end - values)))
        return;
    DropExceptions([&] {
        for (TagVar *value = values; value != end; ++value) {
            // No test gets here: memory would have to be lacking for the copy of a value.
            if (value->IsInner() && !DropExceptions([&] { *value = TagVar::Keep(*value); }))
                *value = TagVar(TagVar::unshown);
        }
        WriteOut(level, category, place, format, values, static_cast<unsigned long>(end - values));
    });
}

// Destroys the chain of earlier messages in a loop, because nested destructors would need stack for the whole chain.
TTraceExit::TMessage::~TMessage() {
    std::shared_ptr<TMessage> next = std::move(previous);
    while (next && next.use_count() == 1)
        next = std::move(next->previous);
}

TTraceExit::TTraceExit(TTrace::Category const &category) : fCategory(category) {}

TTraceExit::~TTraceExit() {
    if (!fMessage || !TTrace::IsGlobalTracing(TTrace::functionExit, fCategory.QueryComponent()))
        return;
    // If the entry cannot be written, it is lost, because a destructor must not throw.
    DropExceptions([&] { TTrace::Base::WriteEntry(TTrace::functionExit, fCategory, fMessage->text); });
}

void TTraceExit::SetFormatMsg(char const *format) {
    fMessage = std::make_shared<TMessage>(format, std::move(fMessage));
}

void TTraceExit::SetRC(TagVar const &value) {
    if (TTextMessage *const message = Message())
        (*message)[0] = value;
}

TagVar &TTraceExit::operator[](unsigned int index) {
    if (TTextMessage *const message = Message())
        return (*message)[index];
    return fNoArgument = TagVar();
}

void TTraceExit::SetDebugging(char const *file, unsigned long line) {
    if (TTextMessage *const message = Message())
        message->SetDebugging(file, line);
}

unsigned int TTraceObjects::Add(char const *, int, char *) {
    return 0xFFFFFFFF;
}

TTrace TTraceObjects::operator[](unsigned int index) const {
    // No test gets here: nothing can be added to the list.
    return index < fEntries.size() ? fEntries[index] : TTrace();
}

void TTraceObjects::Remove(unsigned int index) {
    // No test gets here: nothing can be added to the list.
    if (index < fEntries.size())
        fEntries[index] = TTrace();
}
