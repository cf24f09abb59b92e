#ifndef TUZUTIL_TRACE_LEVELS
#define TUZUTIL_TRACE_LEVELS

// The levels of trace entries and their groups: the keywords that configurations use, the masks that trace points test,
// and the letters that records show.

#include <cstdint>

struct TTraceLevel {
    char keyword[3];
    std::uint32_t mask;
    char letter; // 0 if the level or group has no letter
};

// The levels and groups, in the order in which their keywords are tried.
inline constexpr TTraceLevel fsTraceLevels[] = {
    {"ou", 0x1, 'O'},     {"se", 0x2, 'S'},    {"er", 0x4, 'E'},   {"wa", 0x8, 'W'},     {"in", 0x10, 'I'},
    {"i2", 0x20, 'i'},    {"nl", 0x80, 'N'},   {"de", 0x3700, 0},  {"d1", 0x100, '1'},   {"d2", 0x200, '2'},
    {"en", 0x1000, '>'},  {"ex", 0x2000, '<'}, {"xc", 0x400, '*'}, {"au", 0x10000, 'A'}, {"ad", 0x20000, 'a'},
    {"da", 0x40000, 'D'}, {"tr", 0x100000, 0}, {"al", 0x7373F, 0}, {"np", 0x1000F, 0},   {"no", 0, 0},
};

#endif
