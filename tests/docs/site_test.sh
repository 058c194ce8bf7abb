#!/usr/bin/env bash
# site_test.sh ROOT FOLDER VERSION: scripts/docs makes the site, of which no link leads nowhere and
# which shows the project's version; and the header's comments say what they should say of what.
set -euo pipefail
root=$1 folder=$2 version=$3

fail() {
  echo "$1" >&2
  exit 1
}

"$root/scripts/docs" "$folder"

# In silence when all is well, which htmlproofer is not. It reads files as the locale says.
LC_ALL=C.UTF-8 htmlproofer --disable-external --allow-hash-href "$folder/site" >"$folder/links.log" 2>&1 ||
  { cat "$folder/links.log" >&2; exit 1; }

grep -qF "<title>libquill-wgc $version" "$folder/site/docs/index.html" ||
  fail "the site does not show version $version"

# doxygen lets values of an enumeration pass without a comment.
undocumented=$(python3 - "$folder/site-parts/doxygen/xml/libquill__wgc_8h.xml" <<'PYTHON'
import sys
import xml.etree.ElementTree as ElementTree
values = ElementTree.parse(sys.argv[1]).findall(".//enumvalue")
assert values
for value in values:
    if not "".join(value.find("briefdescription").itertext()).strip():
        print(value.findtext("name"))
PYTHON
)
[ -z "$undocumented" ] || fail "include/libquill_wgc.h does not say what this means: $undocumented"

for language in c c++; do
  clang --target=x86_64-w64-mingw32 -fsyntax-only -Wdocumentation -Wdocumentation-pedantic -Werror \
    -Wno-pragma-once-outside-header -x "$language" "$root/include/libquill_wgc.h"
done
