#!/usr/bin/env bash
# Makes, boots and ends the throw-away Wine prefixes of the testbed under build/testbed/. The user's own Wine is never
# touched: prefix, home folder and Wine server of a testbed are its own.
#
#   testbed/prefix.sh up NAME [PROFILE]     make it anew and boot it as the PC of that profile
#   testbed/prefix.sh plain NAME            make it anew as an empty PC, for tools of Windows
#   testbed/prefix.sh down NAME             end everything that runs in it
#   testbed/prefix.sh run NAME PROGRAM ...  run a Windows program in it
#   testbed/prefix.sh env NAME              print its environment, for: eval "$(testbed/prefix.sh env NAME)"
#   testbed/prefix.sh path NAME             print its folder
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
beds=$root/build/testbed
bin=$root/build/${HOTKEY_PRESET:-mingw}/bin

wine=/usr/lib/wine/wine64
find_server() {
    local candidate
    for candidate in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver /usr/bin/wineserver; do
        if [ -x "$candidate" ]; then
            printf '%s\n' "$candidate"
            return
        fi
    done
    echo 'testbed: there is no Wine server on this machine; ./dev setup installs Wine' >&2
    return 1
}
server=$(find_server)

# The environment of everything that runs in a testbed.
enter() {
    export WINEPREFIX=$beds/$1/prefix WINEDEBUG=-all HOME=$beds/$1/home
    export WINEDLLOVERRIDES=winemenubuilder.exe=d WINESERVER=$server
    unset DISPLAY WAYLAND_DISPLAY XDG_DATA_HOME XDG_CONFIG_HOME
}

# Quiet, and with handles of its own: background processes of the prefix inherit them from the first program.
in_wine() {
    "$wine" "$@" </dev/null >/dev/null 2>&1
}

# The template is made once per Wine version; testbeds are copies of it that share its big files.
make_template() {
    local name
    name=template-$("$wine" --version | cut -d" " -f1)
    template=$beds/$name/prefix
    if [ -f "$beds/$name/complete" ]; then
        return
    fi
    rm -rf "${beds:?}/$name"
    mkdir -p "$template" "$beds/$name/home"
    (
        enter "$name"
        "$server" -p
        in_wine wineboot -i
        in_wine winecfg -v win10
        "$server" -k
        "$server" -w
    )
    touch "$beds/$name/complete"
}

make_prefix() {
    local bed=$beds/$1
    make_template
    # A half-made copy never counts: it is renamed into place when it is whole.
    rm -rf "$bed/prefix" "$bed/prefix.new"
    mkdir -p "$bed/home" "$bed/prefix.new/drive_c"
    (
        cd "$template"
        find . -mindepth 1 -maxdepth 1 ! -name drive_c -exec cp -a {} "$bed/prefix.new/" \;
        find drive_c -mindepth 1 -maxdepth 1 ! -name windows -exec cp -a {} "$bed/prefix.new/drive_c/" \;
        cp -al drive_c/windows "$bed/prefix.new/drive_c/"
    )
    mv "$bed/prefix.new" "$bed/prefix"
}

# place FILE FOLDER [NAME]: a fresh file, never a write through a link into the template.
place() {
    if [ -f "$1" ]; then
        mkdir -p "$2"
        cp --remove-destination "$1" "$2/${3:-$(basename "$1")}"
    fi
}

lay_out() {
    local c=$WINEPREFIX/drive_c file
    local program="$c/Program Files/Quil/HotKeyService"
    mkdir -p "$c/testbed/profiles" "$c/testbed/bin" "$program"
    cp "$root"/testbed/profiles/*.ini "$c/testbed/profiles/"
    place "$bin/HotKeyServiceTLY.exe" "$program"
    place "$bin/testbed/wtsapi32.dll" "$program"
    place "$bin/testbed/QuilSysInfoCap.exe" "$c/Program Files/Quil/SysInfoCap"
    place "$bin/testbed/launchtarget.exe" "$c/windows/system32" msinfo32.exe
    for file in "$bin"/testbed/fennix/*; do
        place "$file" "$program"
    done
    for file in "$bin/hotkeyctl.exe" "$bin"/testbed/{testbedctl,launchtarget}.exe "$bin/testbed/testbed_wmi.dll"; do
        place "$file" "$c/testbed/bin"
    done
}

plain() {
    if [ -d "$beds/$1/prefix" ]; then
        (down "$1")
    fi
    make_prefix "$1"
    enter "$1"
    "$server" -p
    in_wine wineboot
}

up() {
    local profile=${2:-healthy-laptop}
    plain "$1"
    lay_out
    # The desktop of the session. Without it the first COM apartment of a program waits ten seconds for one.
    in_wine explorer.exe /desktop &
    "$wine" 'C:\testbed\bin\testbedctl.exe' prepare </dev/null
    "$wine" 'C:\testbed\bin\testbedctl.exe' profile "$profile" </dev/null
}

down() {
    enter "$1"
    "$server" -k 2>/dev/null || true
    "$server" -w
}

usage() {
    sed -n '2,/^set /{/^set /d;s/^# \{0,1\}//;p}' "${BASH_SOURCE[0]}"
}

verb=${1:-help}
if [ "$verb" != help ] && [ $# -lt 2 ]; then
    usage >&2
    exit 2
fi
case $verb in
up) up "$2" "${3:-}" ;;
plain) plain "$2" ;;
down) down "$2" ;;
run)
    enter "$2"
    shift 2
    exec "$wine" "$@"
    ;;
env)
    enter "$2"
    printf 'export WINEPREFIX=%q WINEDEBUG=%q HOME=%q WINEDLLOVERRIDES=%q WINESERVER=%q\nunset DISPLAY WAYLAND_DISPLAY\n' \
        "$WINEPREFIX" "$WINEDEBUG" "$HOME" "$WINEDLLOVERRIDES" "$WINESERVER"
    ;;
path) printf '%s\n' "$beds/$2" ;;
*) usage ;;
esac
