#!/bin/sh
# gb2312.sh FILE: writes the GB2312 table as the system's converter knows it, one character a line: code of row and
# column, Unicode value, the character itself as a comment.
set -u
[ $# -eq 1 ] || { echo "gb2312: usage: $0 FILE" >&2; exit 2; }
LC_ALL=C
export LC_ALL
mkdir -p "$(dirname "$1")" || exit 1

# One line for every pair of bytes; the converter leaves an empty one where no character is.
awk 'BEGIN { for (row = 161; row < 255; row++) for (column = 161; column < 255; column++) printf "%c%c\n", row, column }' |
  iconv -c -f EUC-CN -t UTF-8 |
  awk '
    BEGIN {
      for (i = 128; i < 256; i++) value[sprintf("%c", i)] = i
      print "# GB2312 (row and column)\tUnicode\tcharacter"
    }
    function bits(position) { return value[substr($0, position, 1)] % 64 }
    length($0) == 2 { unicode = value[substr($0, 1, 1)] % 32 * 64 + bits(2) }
    length($0) == 3 { unicode = value[substr($0, 1, 1)] % 16 * 4096 + bits(2) * 64 + bits(3) }
    length($0) != 0 {
      printf "0x%02X%02X\t0x%04X\t# %s\n", 33 + int((NR - 1) / 94), 33 + (NR - 1) % 94, unicode, $0
      characters++
    }
    END {
      if (characters == 7445) exit
      print "gb2312: iconv knows " characters + 0 " characters instead of 7445" >"/dev/stderr"
      exit 1
    }
  ' >"$1.$$" && mv "$1.$$" "$1" && exit
rm -f "$1.$$"
exit 1
