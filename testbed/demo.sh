#!/usr/bin/env bash
# ./dev run: boots a PC of the maker, installs and starts the service there, and talks to it as the companion app does.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
prefix=$root/testbed/prefix.sh
bed=$root/build/testbed/run
c=$bed/prefix/drive_c
service='C:\Program Files\Quil\HotKeyService\HotKeyServiceTLY.exe'
control='C:\testbed\bin\testbedctl.exe'
tool='C:\testbed\bin\hotkeyctl.exe'
msinfo='C:\windows\system32\msinfo32.exe'

profile=healthy-laptop
keep=no
while [ $# -gt 0 ]; do
    case $1 in
    --profile)
        profile=${2:-}
        shift
        ;;
    --profile=*) profile=${1#*=} ;;
    --keep) keep=yes ;;
    *)
        echo "./dev run: there is no option $1 (--profile NAME, --keep)" >&2
        exit 2
        ;;
    esac
    shift || break
done
if [ ! -f "$root/testbed/profiles/$profile.ini" ]; then
    echo "./dev run: there is no profile $profile; there are:" >&2
    for file in "$root"/testbed/profiles/*.ini; do
        echo "  $(basename "$file" .ini)  $(sed -n 's/^summary *= *//p' "$file")" >&2
    done
    exit 2
fi

# Captured output of a Windows program, with Unix line ends.
pc() { "$prefix" run run "$@" </dev/null | tr -d '\r'; }
title() { printf '\n== %s\n' "$*"; }
# Shows a command as one would type it inside the PC, then its output, indented.
shown() {
    local program=$1
    shift
    printf '   > %s%s\n' "$(basename "${program//\\//}")" "${*:+ $*}"
    pc "$program" "$@" | sed 's/^/     /'
}
# A question of the companion app; on a PC that is not well, no answer is an answer too.
asked() {
    { shown "$tool" "$@" || [ "$profile" != healthy-laptop ]; } 2>&1 | sed 's/^hotkeyctl: /     /'
}
finish() {
    local status=$?
    if [ "$status" -ne 0 ]; then
        printf '\n./dev run: FAILED (status %s); the service'"'"'s log ends with:\n' "$status" >&2
        service_log 15 >&2 || true
    fi
    if [ "$keep" = no ] || [ "$status" -ne 0 ]; then
        "$prefix" down run
    fi
    exit "$status"
}
fail() {
    printf '   %s\n' "$*" >&2
    exit 1
}
service_log() {
    local log
    for log in "$c"/users/*/AppData/Roaming/quilLog/HotKeyServiceTLY.log; do
        [ -f "$log" ] && tail -n "$1" "$log" | tr -d '\r' | sed 's/^/     /' && return
    done
    echo '     (there is no log)'
}
records() {
    if [ -f "$c/testbed/records.log" ]; then
        sed -n "s/^$1: //p" "$c/testbed/records.log"
    fi
}
state() { pc sc query HotKeyServiceTLY | awk '$1 == "STATE" { print $4 }'; }
milliseconds() { date +%s%3N; }

trap finish EXIT
begin=$(milliseconds)
title "A PC of the maker: $(sed -n 's/^summary *= *//p' "$root/testbed/profiles/$profile.ini") ($profile)"
"$prefix" up run "$profile"
echo "   booted in $(($(milliseconds) - begin)) ms, in build/testbed/run/prefix"

title 'Install and start the service'
shown "$service" -install
begin=$(milliseconds)
pc sc start HotKeyServiceTLY >/dev/null || fail 'the service manager does not start the service'
until [ "$(state)" = RUNNING ]; do
    [ "$(state)" = STOPPED ] && fail 'the service stopped by itself'
    [ $(($(milliseconds) - begin)) -lt 30000 ] || fail 'the service is not running after 30 seconds'
    sleep 0.05
done
echo "   RUNNING after $(($(milliseconds) - begin)) ms"
# The endpoint opens on a thread of its own, a moment after RUNNING.
until [ -n "$(records RpcServerListen)" ]; do
    [ $(($(milliseconds) - begin)) -lt 30000 ] || fail 'the RPC endpoint is not open after 30 seconds'
    sleep 0.05
done
records SetServiceStatus | sed 's/^/     /'

title 'A hotkey: System Information'
before=
if [ -f "$c/windows/system32/msinfo32.exe" ] && before=$(pc "$control" start "$msinfo"); then
    echo "   msinfo32.exe is open, process $before"
fi
shown "$tool" launch sysinfo
after=$(pc "$control" pids msinfo32.exe)
launch=$(records CreateProcessAsUserW | tail -1)
if [ -n "$launch" ]; then
    if [ -n "$before" ]; then
        grep -qx "$before" <<<"$after" && fail "msinfo32.exe, process $before, was not ended"
        echo "   process $before was ended; msinfo32.exe now: ${after:-none}"
    fi
    sed -E 's/ (command-line|desktop|flags|inherit|environment|user|session|elevation|ui-access)=/\n\1=/g; s/ -> /\n-> /' <<<"$launch" |
        sed 's/^/     /'
elif [ "$profile" = healthy-laptop ]; then
    fail 'the service started no program'
else
    echo '   the service started no program; its log says why:'
    service_log 200 | grep -E '\|Error +\|[^|]*(LaunchProcess|ProcessCommand)\|' || true
fi

title 'What the companion app reads'
asked sysinfo
asked usbc
asked presence

title "The end of the service's log (%APPDATA%\\quilLog\\HotKeyServiceTLY.log)"
service_log 12

if [ "$keep" = yes ]; then
    title 'The PC is left running'
    cat <<TEXT
     testbed/prefix.sh run run 'C:\\testbed\\bin\\hotkeyctl.exe' sysinfo         ask the service something
     testbed/prefix.sh run run 'C:\\testbed\\bin\\testbedctl.exe' control logon  tell it that a user logs on
     testbed/prefix.sh run run 'C:\\testbed\\bin\\testbedctl.exe' profile NAME   make it another PC
     $c/testbed/         records.log, events.log, profile.ini
     ./dev stop          end it
TEXT
    exit 0
fi

title 'Stop and remove the service'
shown "$service" -remove
records SetServiceStatus | tail -2 | sed 's/^/     /'
