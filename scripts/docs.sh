#!/usr/bin/env bash
# Builds the documentation site into build/docs/ (start with index.html). Warnings are errors, and so are links that lead
# nowhere and pages that a browser, if Chromium is there, doesn't show well on a narrow or a wide screen.
#   scripts/docs.sh            uses Chromium where it is installed
#   scripts/docs.sh --look     wants it
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
[ "${arguments[*]}" != --look ] || docs_packages+=(chromium fonts-dejavu-core)
install_missing "${build_packages[@]}" "${docs_packages[@]}"

work=build/docs-work
rm -rf "$work" build/docs
mkdir -p "$work/bin" "$work/figures"
version=$(sed -n 's/^project(vekr VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)

echo "== docs: library"
cmake --preset release >/dev/null
cmake --build --preset release --target vekre9 vekcore | tail -n 1

# The programs that the pages show, as a reader would compile them, and what they and the other makers of pictures draw.
echo "== docs: pictures"
for program in docs/programs/*.c docs/figures/*.c; do
  ${CC:-cc} -std=c99 -O2 -Wall -Wextra -Werror -Iinclude -Ivekcore "$program" -o "$work/bin/$(basename "$program" .c)" \
    -Lbuild/release/lib -lvekre9 -lvekcore -lm -Wl,-rpath,"$PWD/build/release/lib"
done
cp -r docs "$work/source"
rm -rf "$work/source/reference"
pictures=$work/source/pictures
mkdir "$pictures"
mkdir "$work/source/output"
"$work/bin/hello_ray" >"$work/source/output/hello_ray.txt"
for program in first_picture shading volume harmonics; do
  "$work/bin/$program" "$work/figures/$program.pnm" >"$work/source/output/$program.txt"
done
"$work/bin/kernels" "$work/figures" >/dev/null
mv "$work"/figures/*.svg "$pictures"
/usr/bin/python3 docs/figures/diagrams.py "$pictures"
for picture in "$work"/figures/*.p?m; do
  /usr/bin/python3 docs/figures/pnm_to_png.py "$picture" "$pictures/$(basename "${picture%.*}").png"
done

echo "== docs: site"
/usr/bin/python3 docs/reference/header_pages.py include/vekr.h vekcore/vekcore.h "$work"
{
  cat docs/Doxyfile
  echo "INPUT = $work/headers"
  echo "STRIP_FROM_PATH = $work/headers"
  echo "OUTPUT_DIRECTORY = $work"
} | doxygen -
mv "$work/reference" "$work/source/reference"
# Pages whose place is elsewhere in the sources.
cp CONTRIBUTING.md "$work/source/contributing.md"
cp BENCHMARKS.md "$work/source/benchmarks.md"
cp CHANGELOG.md "$work/source/changelog.md"
[ ! -f python/README.md ] || { cp python/README.md "$work/source/python.md"; cp -r python/docs "$work/source/docs" 2>/dev/null || true; }
VEKR_VERSION=$version VEKR_DOXYGEN_XML=$PWD/$work/xml \
  /usr/bin/python3 -m sphinx -q -n -W --keep-going -b html -d "$work/doctrees" "$work/source" build/docs

echo "== docs: links and looks"
/usr/bin/python3 docs/checks/check_site.py build/docs include/vekr.h vekcore/vekcore.h
if command -v chromium >/dev/null; then
  docs/checks/check_looks.sh build/docs "$work/browser"
else
  echo "no chromium here: looks unchecked"
fi
echo "build/docs/index.html"
