#pragma once
#include <cstdio>
#include <string>

#include "platform/export.h"

// Readers of key/value files: configuration and language resources share one syntax. One line holds
// "key = value"; blanks around both are dropped, "#" starts a comment at the start of a line or behind a
// blank. A value may be quoted with "..." to keep blanks and "#"; inside, the escapes \" \\ \n \t, another
// "\" stands for itself. A value that opens with a quote but does not end with one is taken as it stands.
// UTF-8; a leading byte-order mark and CRLF are accepted. Skipped, and nothing else with them, are lines
// without "=" or key, with a zero byte, with a key or value above 1023 bytes or not in UTF-8, and lines above
// 8191 bytes. The readers take no lock and keep no state: every call opens the file anew. Safe in any thread.

enum VelaLineKind { VELA_LINE_END = 0, VELA_LINE_ENTRY = 1, VELA_LINE_SKIP = 2 };

constexpr int VELA_LINE_TEXT = 1024;  // room for key or value with the terminating zero

// Reads the next line. `key` and `value` (VELA_LINE_TEXT bytes each) are filled for VELA_LINE_ENTRY and set
// to the empty text otherwise.
VELA_EXPORT int VelaGetLine(std::FILE* file, char* key, char* value);

// Looks the key up; the first line that holds it counts, keys are case-sensitive. 1 = found and `value` set;
// 0 = no such key, or (integers) a text that is no 32-bit integer; -1 = the file cannot be read. `value` is
// untouched unless 1. Integers are decimal with an optional sign, or the 32 bits in hexadecimal with "0x"
// (0xFFFFFFFF is -1).
VELA_EXPORT int VelaGetRegInt(const char* file, const char* key, int& value);
VELA_EXPORT int VelaGetRegString(const char* file, const char* key, std::string& value);
