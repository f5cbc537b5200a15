#!/usr/bin/env bash
# Packs a finished build: zip, symbols, installer, bills of materials, winget manifest and check sums.
#
#   packaging/package.sh [BUILD [OUT]]      defaults: build/mingw and build/packages
#
# Nothing is built here, so the packages hold the very bytes that were tested. The same commit and the same build give
# the same packages: every time stamp is SOURCE_DATE_EPOCH, by default the commit's time.
# HOTKEY_DOWNLOAD_URL is the folder that the packages will be downloaded from; the winget manifest names it.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$here")
build=$(realpath "${1:-$root/build/mingw}")
out=$(realpath -m "${2:-$root/build/packages}")
download=${HOTKEY_DOWNLOAD_URL:-https://downloads.example.com/hotkeyservice}
export LC_ALL=C TZ=UTC PYTHONDONTWRITEBYTECODE=1

for tool in wixl msiinfo msibuild python3; do
    if ! command -v "$tool" >/dev/null; then
        echo "package.sh: $tool is missing; install wixl, msitools and python3" >&2
        exit 1
    fi
done

version=$(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
if [ -z "${SOURCE_DATE_EPOCH:-}" ]; then
    SOURCE_DATE_EPOCH=$(git -C "$root" log -1 --format=%ct)
fi
export SOURCE_DATE_EPOCH
commit=$(git -C "$root" describe --always --dirty --abbrev=40 2>/dev/null || echo unknown)
name=HotKeyServiceTLY-$version-x64

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
shipped=$stage/shipped symbols=$stage/symbols
mkdir -p "$shipped/policy/en-US" "$symbols" "$out"
install -m 644 "$build/bin/HotKeyServiceTLY.exe" "$build/bin/hotkeyctl.exe" "$shipped"
install -m 644 "$root/policy/QuilTLYService.admx" "$shipped/policy"
install -m 644 "$root/policy/en-US/QuilTLYService.adml" "$shipped/policy/en-US"
install -m 644 "$build/bin/HotKeyServiceTLY.debug" "$build/bin/hotkeyctl.debug" "$symbols"

built=$(cd "$here" && python3 -c 'import common, pathlib, sys; print(common.file_version(pathlib.Path(sys.argv[1])))' \
    "$shipped/HotKeyServiceTLY.exe")
if [ "$built" != "$version" ]; then
    echo "package.sh: the program's version is $built, the project's $version: build it anew" >&2
    exit 1
fi

rm -rf "$out"/*.zip "$out"/*.msi "$out"/*.json "$out/winget" "$out/SHA256SUMS"
python3 "$here/make_zip.py" "$shipped" "$SOURCE_DATE_EPOCH" "$out/$name.zip"
python3 "$here/make_zip.py" "$symbols" "$SOURCE_DATE_EPOCH" "$out/$name-symbols.zip"
python3 "$here/make_msi.py" "$shipped" "$version" "$SOURCE_DATE_EPOCH" "$out/$name.msi"
python3 "$here/bill_of_materials.py" "$shipped" "$version" "$SOURCE_DATE_EPOCH" "$commit" "$out/$name"
python3 "$here/winget_manifest.py" "$out/$name.msi" "$version" "$SOURCE_DATE_EPOCH" "$download" "$out/winget"
# shellcheck disable=SC2094  # the list leaves itself out
(cd "$out" && find . -type f ! -name SHA256SUMS -printf '%P\n' | sort | xargs -d '\n' sha256sum >SHA256SUMS)
cat "$out/SHA256SUMS"
