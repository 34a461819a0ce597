#pragma once

// libplist changed its API: 2.3 has one free function for every buffer and a format out-argument
// for plist_from_memory; 2.7 counts dates in seconds from 1970 instead of 2001 (the 2001 forms are
// deprecated there). Callers use these and stay the same on every version; MOXLEY_PLIST_VERSION
// (major * 10000 + minor * 100 + patch) comes from pkg-config through CMake.

#include <plist/plist.h>

#include <cstdint>

#ifndef MOXLEY_PLIST_VERSION
#error "MOXLEY_PLIST_VERSION is set by CMake on the libplist target"
#endif

namespace plistcompat {

// Seconds between 1970-01-01 and 2001-01-01, the two epochs.
inline constexpr int64_t kUnixSecondsAt2001 = 978307200;

inline void freeXml(char *xml)
{
#if MOXLEY_PLIST_VERSION >= 20300
    plist_mem_free(xml);
#else
    plist_to_xml_free(xml);
#endif
}

inline void freeBin(char *bin)
{
#if MOXLEY_PLIST_VERSION >= 20300
    plist_mem_free(bin);
#else
    plist_to_bin_free(bin);
#endif
}

// Parses XML or binary; *plist stays null when the bytes are neither.
inline void fromMemory(const char *data, uint32_t length, plist_t *plist)
{
#if MOXLEY_PLIST_VERSION >= 20300
    plist_from_memory(data, length, plist, nullptr);
#else
    plist_from_memory(data, length, plist);
#endif
}

// A signed integer. Before 2.3 every integer was stored unsigned and written back as signed; from
// 2.3 on an unsigned node is written unsigned, so -42 would come out as 18446744073709551574.
inline plist_t newInt(int64_t value)
{
#if MOXLEY_PLIST_VERSION >= 20300
    return plist_new_int(value);
#else
    return plist_new_uint(static_cast<uint64_t>(value));
#endif
}

// A date as seconds and microseconds from 2001-01-01 UTC, the form property lists store.
// From 2.7 on, libplist's public date functions take whole seconds only: the microseconds are
// dropped there (XML property lists hold whole seconds anyway).
inline plist_t newDate(int32_t seconds, int32_t micros)
{
#if MOXLEY_PLIST_VERSION >= 20700
    static_cast<void>(micros);
    return plist_new_unix_date(int64_t(seconds) + kUnixSecondsAt2001);
#else
    return plist_new_date(seconds, micros);
#endif
}

inline void dateValue(plist_t node, int32_t *seconds, int32_t *micros)
{
#if MOXLEY_PLIST_VERSION >= 20700
    int64_t unixSeconds = 0;
    plist_get_unix_date_val(node, &unixSeconds);
    *seconds = int32_t(unixSeconds - kUnixSecondsAt2001);
    *micros = 0;
#else
    plist_get_date_val(node, seconds, micros);
#endif
}

} // namespace plistcompat
