#!/usr/bin/env bash
# ./dev stubs: makes the checked-in header and stubs of every interface definition with the Windows SDK's own compiler,
# run under Wine in a prefix that goes away afterwards. Each stub folder gets the check sums of what it was made from.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
package=Microsoft.Windows.SDK.BuildTools
version=10.0.26100.4654
checksum=5f5783658a200f83ea2addfd406e2303a901b27ad7c49b0347c34aefcc21883d
work=$root/build/stubs
archive=$work/${package,,}/$version/${package,,}.$version.nupkg
midl=$work/midl.exe
wine=("$root/testbed/prefix.sh" run stubs)

# The compiler comes from the SDK's package on NuGet. A copy of it in build/stubs serves as well.
fetch_midl() {
    if [ ! -f "$archive" ]; then
        command -v dotnet >/dev/null || {
            echo "stubs: no NuGet client here (dotnet): put $package $version into ${archive%/*}" >&2
            return 1
        }
        mkdir -p "$work/fetch"
        cat >"$work/fetch/fetch.proj" <<XML
<Project Sdk="Microsoft.NET.Sdk">
  <PropertyGroup><TargetFramework>netstandard2.0</TargetFramework></PropertyGroup>
  <ItemGroup><PackageDownload Include="$package" Version="[$version]" /></ItemGroup>
</Project>
XML
        dotnet restore --packages "$work" "$work/fetch/fetch.proj"
    fi
    sha256sum --quiet -c <<<"$checksum  $archive"
    python3 - "$archive" "$work" <<'PYTHON'
import pathlib, sys, zipfile

with zipfile.ZipFile(sys.argv[1]) as archive:
    for name in ("midl.exe", "midlc.exe"):
        member = next(m for m in archive.namelist() if m.endswith("/x64/" + name))
        pathlib.Path(sys.argv[2], name).write_bytes(archive.read(member))
PYTHON
}

# make FOLDER NAME [OPTION ...]: FOLDER/NAME.idl and, when there is one, NAME.acf into FOLDER/stubs.
make_stubs() {
    local folder=$1 name=$2
    shift 2
    local sources=("$name.idl")
    cd "$root/$folder"
    if [ -f "$name.acf" ]; then
        sources+=("$name.acf")
    fi
    mkdir -p stubs
    "${wine[@]}" "$midl" /nologo /env x64 /Oicf /robust /protocol all /no_cpp "$@" \
        /out stubs /h "$name.h" /sstub "${name}Server.c" /cstub "${name}Client.c" "$name.idl" </dev/null
    # Line ends as in the rest of the tree.
    sed -i 's/\r$//' stubs/"$name".h stubs/"$name"{Server,Client}.c
    sha256sum "${sources[@]}" >stubs/"$name".sha256
    echo "stubs: $folder/stubs is made from ${sources[*]}"
}

fetch_midl
"$root"/testbed/prefix.sh plain stubs
trap '"$root"/testbed/prefix.sh down stubs' EXIT
make_stubs rpc HotKeyRpc /prefix client Client
make_stubs bench EmptyRpc
