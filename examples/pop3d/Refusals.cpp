#include "Refusals.h"

#include <algorithm>

namespace pop3d {

Refusals::~Refusals() {
    for (Entry const &entry : fEntries)
        net::Close(entry.handle);
}

void Refusals::Add(net::Handle handle, std::string const &word) {
    fEntries.push_back({handle, Clock::now()});  // may throw, so it comes first: the caller then still has the handle
    net::Send(handle, word.data(), word.size()); // does not wait, because a new connection has room for the reply
    net::EndSending(handle);
    if (fEntries.size() <= fsMaximum)
        return;
    net::Close(fEntries.front().handle);
    fEntries.pop_front();
}

void Refusals::Tend() {
    auto const now = Clock::now();
    auto const isOver = [now](Entry const &entry) {
        if (net::Drain(entry.handle) && now - entry.since < std::chrono::seconds(2))
            return false;
        net::Close(entry.handle);
        return true;
    };
    fEntries.erase(std::remove_if(fEntries.begin(), fEntries.end(), isOver), fEntries.end());
}

} // namespace pop3d
