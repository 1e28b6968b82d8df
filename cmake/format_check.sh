#!/bin/sh
# Whether all sources are formatted as .clang-format says.
set -u
cd "$(dirname "$0")/.." || exit 1
git ls-files -z '*.h' '*.cpp' | xargs -0 -r -n 40 -P 2 clang-format-14 --dry-run -Werror && exit
echo "format_check: the files named above are not formatted; clang-format-14 -i FILE mends them" >&2
exit 1
