#pragma once
#include <utility>

#include "util/basicutil/export.h"

// Conversions between UCS-2 (16-bit code units in the machine's byte order; surrogates are units like any
// other), UTF-8, and GB2312 in its two-byte EUC form.
//
// Sizes count bytes for unsigned char and code units for unsigned short. The result is (input elements
// consumed, output elements produced): where the output is full, or the input ends inside a UTF-8 character,
// a function stops in front of what it did not convert, and the next call goes on from there with the rest
// and what follows it. (0, 0) means that the next character needs more room or more input. Nothing
// writes a terminator. Counts below 1 give (0, 0) and touch neither buffer. Input and output must not
// overlap. All functions are safe in any thread.
namespace NSTE_util {

// UCS-2 to UTF-8; needs up to three bytes a unit. A unit from 0x80 to 0x7FF becomes 0xC0 | its high byte,
// 0x80 | its low six bits. That is no UTF-8 and does not survive the way back; peers expect it so.
BASIC_UTIL_EXPORT std::pair<int, int> unicode_utf8(unsigned char* out, unsigned short* in, int outSize,
                                                   int inCount);

// UTF-8 to UCS-2. Nothing is refused:
//
//   bytes                                         | give
//   characters of four and more bytes             | nothing
//   continuation bytes at the start of the input  | nothing: the rest of such a character of the last piece
//   a lead byte without a continuation byte       | nothing
//   overlong, too few or too many continuations   | one unit: six bits from each, the last 16 bits stay
//   continuation bytes behind an ASCII character  | one unit, as if behind a lead byte without bits
//
// A lead byte waits in the input until it is followed by as many bytes, of any value, as it asks for; a
// character ends with the input at the latest.
BASIC_UTIL_EXPORT std::pair<int, int> utf8_unicode(unsigned short* out, unsigned char* in, int outSize,
                                                   int inCount);

// The GB2312 functions use the table conf/gb2312.txt of the installation root. The first call reads it, under
// the static-object lock; it stays for the life of the process. Without VELA_ROOT or the file, an assertion
// is reported, once, and no character above 0x7F is known. At process end, when that lock cannot be taken any
// more, a first call gives (0, 0).
//
// A line of the table that does not start with "#" holds the code of row and column in hexadecimal, with or
// without "0x" (0x2121 to 0x7E7E), blanks, two characters (usually "0x") and the Unicode value in
// hexadecimal; the rest, and all behind the 1023rd character, is ignored. Of two lines with the same key the
// later one counts. A value that cannot be read, or has more than 16 bits, counts as 0xFFFF, and so does all
// behind it.

// UCS-2 to GB2312. A unit without a character gives 80 7F. Only one free byte is asked for in front of a
// character of two, so `out` must have room for outSize + 1 bytes, and outSize + 1 can be the result.
BASIC_UTIL_EXPORT std::pair<int, int> unicode_gb(unsigned char* out, unsigned short* in, int outSize,
                                                 int inCount);

// GB2312 to UCS-2. A byte from 0x80 on takes the byte behind it along, whatever it is; a pair without a
// character gives 0xFFFF. That holds for the last byte too: when it is 0x80 or more, in[inCount] must be
// readable (a terminator serves) and inCount + 1 are consumed. Whoever cannot promise that, holds a last byte
// back that is the first of a pair.
BASIC_UTIL_EXPORT std::pair<int, int> gb_unicode(unsigned short* out, unsigned char* in, int outSize,
                                                 int inCount);

}  // namespace NSTE_util
