#ifndef TUZUTIL_TESTS_SHARED_TRACER_H
#define TUZUTIL_TESTS_SHARED_TRACER_H

// What shared_tracer writes and its test expects: the payload of a record, made from its writer and its number.

#include <cstdint>
#include <string>
#include <string_view>

inline std::string SharedPayload(unsigned writer, unsigned number) {
    std::uint32_t state = writer * 2654435761u + number * 40503u + 1;
    auto const next = [&state] { return state = state * 1664525u + 1013904223u; };
    std::string payload(1 + next() / 8 % 6000, ' ');
    for (char &c : payload)
        c = static_cast<char>('!' + (next() >> 24) % 94);
    return payload;
}

inline std::uint32_t SharedChecksum(std::string_view text) {
    std::uint32_t sum = 2166136261u;
    for (char const c : text)
        sum = (sum ^ static_cast<unsigned char>(c)) * 16777619u;
    return sum;
}

#endif
