#!/usr/bin/env bash
# package_files.sh TREE BUILD: the unpacked zip in TREE holds these files, and as pages, examples and
# header those of the sources. BUILD, mingw or windows, says which symbols and licences.
set -euo pipefail
tree=$1 build=$2
root=$(cd "$(dirname "$0")/../../.." && pwd)
doc=share/doc/quill-wgc

fail() {
  echo "package_files: $1" >&2
  exit 1
}

# from_sources FOLDER FILE...: those files of the sources are in FOLDER of the zip.
from_sources() {
  local folder=$1 file
  shift
  for file; do
    cmp "$root/$file" "$tree/$folder/$file" >&2 || fail "$folder/$file differs"
    echo "$folder/$file"
  done
}

expected() {
  cat <<'FILES'
bin/libquill-wgc.dll
bin/quill-check.exe
bin/quill-grab.exe
bin/quill-view.exe
lib/cmake/quill-wgc/quill-wgc-config-version.cmake
lib/cmake/quill-wgc/quill-wgc-config.cmake
lib/libquill-wgc.dll.a
lib/pkgconfig/quill-wgc.pc
lib/quill-wgc.lib
share/licenses/chart.js/copyright
share/licenses/cli11/copyright
share/licenses/nlohmann-json/copyright
FILES
  case $build in
    mingw) printf '%s\n' bin/libquill-wgc.dll.debug share/licenses/{gcc,mingw-w64}/copyright ;;
    windows) echo bin/libquill-wgc.pdb ;;
    *) fail "no build $build" ;;
  esac
  cd "$root"
  from_sources . include/libquill_wgc.h
  from_sources $doc {CHANGELOG,CONTRIBUTING,README,SECURITY,wine/README}.md LICENSE docs/*.md \
    docs/images/* $(git ls-files examples ':!*/CMakeLists.txt')
}

wanted=$(expected | sed 's|^\./||' | LC_ALL=C sort)
found=$(cd "$tree" && find . -type f | sed 's|^\./||' | LC_ALL=C sort)
[ "$found" = "$wanted" ] || fail "in the zip: $(diff <(echo "$wanted") <(echo "$found") || true)"
