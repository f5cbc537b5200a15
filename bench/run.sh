#!/usr/bin/env bash
# ./dev bench: every measurement in one testbed, pinned to one processor (the Wine server included), one table.
# bench/run.sh [log|service]: only one part.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
prefix=$root/testbed/prefix.sh
bin=$root/build/mingw/bin
part=${1:-all}
met=0

row() { # what, figure, limit, against, bar, unit
    awk -v what="$1" -v figure="$2" -v limit="$3" -v against="$4" -v bar="$5" -v unit="$6" 'BEGIN {
        ratio = figure / limit
        printf "%-52s %9.1f %-2s %9.1f %-2s %-30s %7.2f  <= %5.2f  %s\n", what, figure, unit, limit, unit, against, ratio, bar,
            ratio <= bar ? "yes" : "NO"
        exit ratio > bar }' || met=1
}

# Private memory of the Windows program of that name in the testbed, in kilobytes: pages that only it holds.
private_memory() {
    local pid
    for pid in $(pgrep -f "$1"); do
        if tr '\0' '\n' <"/proc/$pid/environ" 2>/dev/null | grep -qx "WINEPREFIX=$("$prefix" path bench)/prefix"; then
            awk '/^Private_(Clean|Dirty)/ { sum += $2 } END { print sum }' "/proc/$pid/smaps_rollup"
            return
        fi
    done
    echo "bench: no process $1" >&2
    return 1
}

await_running() {
    for _ in $(seq 200); do
        "$prefix" run bench sc query "$1" </dev/null | grep -q RUNNING && return
        sleep 0.05
    done
    echo "bench: $1 does not run" >&2
    return 1
}

start_time() { "$prefix" run bench "$bin/bench/start_bench.exe" "$1" </dev/null | tr -d '\r'; }

# Milliseconds that the handler's framework set-up took at the last start, from the time stamps of the service's log.
framework_time() {
    local log
    sleep 1 # the log worker ends
    log=$(ls "$("$prefix" path bench)"/prefix/drive_c/users/*/AppData/Roaming/quilLog/HotKeyServiceTLY.log)
    awk -F'|' '/CHotKeyHandler::Initialize\|/ { split($1, t, "[ :.]"); now = ((t[2] * 60 + t[3]) * 60 + t[4]) * 1000 + t[5] }
        /TraceIn .*CHotKeyHandler::Initialize\|/ { begin = now } /TraceOut .*CHotKeyHandler::Initialize\|/ { took = now - begin }
        END { print took }' "$log"
}

measure_start() {
    local service minimal framework
    minimal=$(start_time MinimalService)
    service=$(start_time HotKeyServiceTLY)
    framework=$(framework_time)
    row 'StartService to RUNNING, framework present' "$service" "$(awk "BEGIN { print $minimal + $framework }")" \
        'minimal service + framework' 1.25 ms
    "$prefix" run bench 'C:\testbed\bin\testbedctl.exe' profile no-framework </dev/null >/dev/null
    service=$(start_time HotKeyServiceTLY)
    row 'StartService to RUNNING, framework absent' "$service" 6000 'the six seconds prescribed' 1.0167 ms
}

measure_service() {
    local service='C:\Program Files\Quil\HotKeyService\HotKeyServiceTLY.exe'
    local c
    c=$("$prefix" path bench)/prefix/drive_c
    cp "$bin"/bench/minimal{,_rpc}_service.exe "$c/testbed/bin/"
    "$prefix" run bench "$service" -install </dev/null >/dev/null
    "$prefix" run bench sc create MinimalService binPath= 'C:\testbed\bin\minimal_service.exe' </dev/null >/dev/null
    "$prefix" run bench sc create MinimalRpcService binPath= 'C:\testbed\bin\minimal_rpc_service.exe' </dev/null >/dev/null
    "$prefix" run bench sc start MinimalService </dev/null >/dev/null
    "$prefix" run bench sc start MinimalRpcService </dev/null >/dev/null
    "$prefix" run bench sc start HotKeyServiceTLY </dev/null >/dev/null
    await_running MinimalService
    await_running MinimalRpcService
    await_running HotKeyServiceTLY
    sleep 2 # the log worker ends, what start-up left behind settles
    row 'idle private memory before the first RPC call' "$(private_memory HotKeyServiceTLY.exe)" \
        "$(private_memory minimal_service.exe)" 'a minimal service' 1.30 kB
    row 'idle private memory before the first RPC call' "$(private_memory HotKeyServiceTLY.exe)" \
        "$(private_memory minimal_rpc_service.exe)" 'a minimal RPC service' 1.30 kB
    row 'size of the stripped program' "$(($(stat -c %s "$bin/HotKeyServiceTLY.exe") / 1024))" \
        "$(($(stat -c %s "$bin/bench/regex_program.exe") / 1024))" 'std::wregex and std::wifstream' 1.25 kB

    "$prefix" run bench "$bin/bench/empty_rpc_server.exe" </dev/null >/dev/null 2>&1 &
    sleep 1
    "$prefix" run bench "$bin/bench/rpc_bench.exe" </dev/null || met=1
    "$prefix" run bench "$bin/bench/sysinfo_bench.exe" </dev/null || met=1
    measure_start
}

trap '"$prefix" down bench' EXIT
taskset -pc 0 $$ >/dev/null
"$prefix" up bench
if [ "$part" != service ]; then
    "$prefix" run bench "$bin/bench/log_bench.exe" </dev/null
fi
if [ "$part" != log ]; then
    measure_service
fi
exit "$met"
