#!/usr/bin/env bash
# Footprint of the Monitor supervising the core application, beside supervisord supervising
# `sleep infinity`, over the same stretch of time (default one minute).
#
#   bench/footprint.sh BINDIR [SECONDS]
#
# The Monitor runs from an application folder of its own on the demo file database with
# AutoStartMonitor on, offscreen and unattended (the old-messages question answered "keep"),
# with a private store, log folder and session. Its minute starts once the core application
# reports State 1. supervisord runs in the foreground with a private configuration, socket,
# pid file and logs in the same temporary folder. For each process: CPU seconds over the
# minute (utime + stime from /proc/PID/stat, in clock ticks; the scheduler's nanosecond figure
# from /proc/PID/schedstat beside it) as a share of one core, and resident memory at the end
# (VmRSS, and the peak VmHWM).
#
# Targets for the Monitor: no more CPU than supervisord's over the same stretch, at most 32 MB
# resident (VmHWM).
# Exit status 1 when a target is missed or a run failed, 2 when it could not be set up.
set -euo pipefail

bin=${1:?usage: footprint.sh BINDIR [SECONDS]}
seconds=${2:-60}
bin=$(cd "$bin" && pwd)
for program in HvxMonitor HvxMonCore hvx-dbsetup hvx-reg; do
    [ -x "$bin/$program" ] || { echo "footprint: $bin/$program is missing" >&2; exit 2; }
done

if ! command -v supervisord >/dev/null; then
    echo "footprint: installing supervisor (Debian package) ..."
    if [ "$(id -u)" -eq 0 ]; then
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq supervisor >/dev/null 2>&1 || true
    else
        sudo DEBIAN_FRONTEND=noninteractive apt-get install -y -qq supervisor >/dev/null 2>&1 || true
    fi
fi
command -v supervisord >/dev/null || { echo "footprint: supervisord is not available" >&2; exit 2; }

work=$(mktemp -d /tmp/hvx-footprint.XXXXXX)
monitor=""
supervisor=""
core=""
pause=""

cleanup() {
    local status=$?
    trap - EXIT INT TERM
    [ -n "$pause" ] && kill "$pause" 2>/dev/null || true
    # A run that failed before the core application reported may still have started it.
    if [ -z "$core" ] && [ -n "$monitor" ]; then
        core=$(cut -d' ' -f1 "/proc/$monitor/task/$monitor/children" 2>/dev/null || true)
    fi
    if [ -n "$monitor" ] && kill -0 "$monitor" 2>/dev/null; then
        kill -TERM "$monitor" 2>/dev/null || true
        for _ in $(seq 100); do kill -0 "$monitor" 2>/dev/null || break; sleep 0.1; done
        kill -0 "$monitor" 2>/dev/null && kill -KILL "$monitor" 2>/dev/null || true
    fi
    # The Monitor's close sends the core application the exit command; it takes it within a
    # second or two. One that stays is ended by its id.
    if [ -n "$core" ]; then
        for _ in $(seq 50); do kill -0 "$core" 2>/dev/null || break; sleep 0.1; done
        kill -0 "$core" 2>/dev/null && kill -TERM "$core" 2>/dev/null || true
    fi
    if [ -n "$supervisor" ] && kill -0 "$supervisor" 2>/dev/null; then
        kill -TERM "$supervisor" 2>/dev/null || true
        for _ in $(seq 100); do kill -0 "$supervisor" 2>/dev/null || break; sleep 0.1; done
        kill -0 "$supervisor" 2>/dev/null && kill -KILL "$supervisor" 2>/dev/null || true
    fi
    wait 2>/dev/null || true
    rm -rf "$work"
    exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# utime + stime of a process, in clock ticks (fields 14 and 15 after the command name).
cpu_ticks() {
    local stat
    stat=$(cat "/proc/$1/stat")
    stat=${stat##*) }
    awk '{ print $12 + $13 }' <<<"$stat"
}
# Nanoseconds on a CPU, all threads (first field of schedstat, summed over the tasks).
cpu_ns() {
    local total=0 task
    for task in /proc/"$1"/task/*; do
        total=$((total + $(cut -d' ' -f1 "$task/schedstat")))
    done
    echo "$total"
}
# A field of /proc/PID/status in kB.
status_kb() {
    awk -v key="$2:" '$1 == key { print $2 }' "/proc/$1/status"
}
now() { date +%s.%N; }

# supervisord: a private configuration, everything inside the temporary folder.
mkdir -p "$work/supervisor"
cat >"$work/supervisor/supervisord.conf" <<EOF
[unix_http_server]
file=$work/supervisor/supervisor.sock

[supervisord]
nodaemon=true
logfile=$work/supervisor/supervisord.log
pidfile=$work/supervisor/supervisord.pid
childlogdir=$work/supervisor
loglevel=warn

[rpcinterface:supervisor]
supervisor.rpcinterface_factory = supervisor.rpcinterface:make_main_rpcinterface

[supervisorctl]
serverurl=unix://$work/supervisor/supervisor.sock

[program:sleeper]
command=sleep infinity
autostart=true
autorestart=true
stdout_logfile=$work/supervisor/sleeper.log
redirect_stderr=true
EOF
supervisord -c "$work/supervisor/supervisord.conf" >"$work/supervisor/stdout.log" 2>&1 &
supervisor=$!

# The Monitor: an application folder with the demo database, processing started at once.
app="$work/app"
mkdir -p "$app" "$work/runtime"
chmod 700 "$work/runtime"
cp "$bin/HvxMonitor" "$bin/HvxMonCore" "$app/"
"$bin/hvx-dbsetup" --db-ini "$app" --demo >/dev/null
sqlite3 "$app/helpdesk.sqlite3" \
    "update Settings set SettingValue = '1' where SettingName = 'AutoStartMonitor'"
export HVX_REGISTRY="$work/registry.sqlite3"
export XDG_DATA_HOME="$work/data"
export XDG_RUNTIME_DIR="$work/runtime"
export HVX_SESSION="footprint-$$"
export QT_QPA_PLATFORM=offscreen
export HVX_UNATTENDED="$work/boxes.jsonl"
export HVX_ANSWERS=keep
started_at=$(now)
"$app/HvxMonitor" 2>"$work/monitor-stderr.log" &
monitor=$!

state=""
for _ in $(seq 300); do
    state=$("$bin/hvx-reg" get Controls State 0 2>/dev/null || true)
    [ "$state" = "1" ] && break
    kill -0 "$monitor" 2>/dev/null || break
    sleep 0.1
done
if [ "$state" != "1" ]; then
    echo "footprint: the core application did not report State 1 within 30 s" >&2
    cat "$work/boxes.jsonl" "$work/monitor-stderr.log" 2>/dev/null >&2 || true
    exit 1
fi
core=$(cut -d' ' -f1 "/proc/$monitor/task/$monitor/children" 2>/dev/null || true)
if ! kill -0 "$supervisor" 2>/dev/null; then
    echo "footprint: supervisord did not start:" >&2
    cat "$work/supervisor/stdout.log" >&2
    exit 1
fi
startup_ticks=$(cpu_ticks "$monitor")
ready_at=$(now)

m_ticks0=$startup_ticks
m_ns0=$(cpu_ns "$monitor")
s_ticks0=$(cpu_ticks "$supervisor")
s_ns0=$(cpu_ns "$supervisor")
t0=$(now)
echo "watching the Monitor (pid $monitor, core pid ${core:-?}) and supervisord (pid $supervisor) for $seconds s ..."
# In the background, so that a signal is handled at once rather than after the minute.
sleep "$seconds" &
pause=$!
wait "$pause"
pause=""
m_ticks1=$(cpu_ticks "$monitor")
m_ns1=$(cpu_ns "$monitor")
s_ticks1=$(cpu_ticks "$supervisor")
s_ns1=$(cpu_ns "$supervisor")
t1=$(now)
m_rss=$(status_kb "$monitor" VmRSS)
m_hwm=$(status_kb "$monitor" VmHWM)
s_rss=$(status_kb "$supervisor" VmRSS)
s_hwm=$(status_kb "$supervisor" VmHWM)
core_rss=""
[ -n "$core" ] && core_rss=$(status_kb "$core" VmRSS 2>/dev/null || true)

# Both must still be doing their job at the end of the minute.
sound=1
state=$("$bin/hvx-reg" get Controls State 0)
if [ "$state" != "1" ] || [ -z "$core" ] || ! kill -0 "$core" 2>/dev/null; then
    echo "footprint: the core application was not running at the end (State $state)"
    sound=0
fi
if ! supervisorctl -c "$work/supervisor/supervisord.conf" status sleeper 2>/dev/null | grep -q RUNNING; then
    echo "footprint: supervisord's sleep was not running at the end"
    sound=0
fi
if grep -q '"kind":"messagebox"' "$work/boxes.jsonl" 2>/dev/null; then
    echo "footprint: the Monitor showed a message box:"
    grep '"kind":"messagebox"' "$work/boxes.jsonl"
    sound=0
fi

hz=$(getconf CLK_TCK)
awk -v hz="$hz" -v secs="$(awk -v a="$t0" -v b="$t1" 'BEGIN { print b - a }')" \
    -v startup="$(awk -v a="$started_at" -v b="$ready_at" 'BEGIN { print b - a }')" \
    -v startup_ticks="$startup_ticks" \
    -v mt0="$m_ticks0" -v mt1="$m_ticks1" -v mn0="$m_ns0" -v mn1="$m_ns1" \
    -v st0="$s_ticks0" -v st1="$s_ticks1" -v sn0="$s_ns0" -v sn1="$s_ns1" \
    -v mrss="$m_rss" -v mhwm="$m_hwm" -v srss="$s_rss" -v shwm="$s_hwm" -v crss="$core_rss" '
BEGIN {
    mcpu = (mt1 - mt0) / hz; scpu = (st1 - st0) / hz
    mns = (mn1 - mn0) / 1e9; sns = (sn1 - sn0) / 1e9
    printf "Monitor start-up until the core ran: %.1f s wall, %.2f CPU-s\n", startup, startup_ticks / hz
    printf "over %.1f s of supervision:\n", secs
    printf "  %-34s %14s %14s %12s %10s %10s\n", "process", "CPU-s (ticks)", "CPU-s (sched)", "% of a core", "VmRSS MB", "VmHWM MB"
    printf "  %-34s %14.2f %14.3f %12.3f %10.1f %10.1f\n", "HvxMonitor (supervising HvxMonCore)", mcpu, mns, 100 * mcpu / secs, mrss / 1024, mhwm / 1024
    printf "  %-34s %14.2f %14.3f %12.3f %10.1f %10.1f\n", "supervisord (supervising sleep)", scpu, sns, 100 * scpu / secs, srss / 1024, shwm / 1024
    if (crss != "") printf "  (HvxMonCore itself: VmRSS %.1f MB, not counted)\n", crss / 1024
    # The scheduler count in nanoseconds decides: clock ticks (10 ms each) are too coarse for a minute
    # that costs each process about a hundredth of a second.
    cpu_met = mns <= sns; mem_met = mhwm / 1024 <= 32
    printf "Monitor CPU: %.4f CPU-s, supervisord %.4f CPU-s, target <= supervisord: target %s\n", mns, sns, cpu_met ? "met" : "MISSED"
    printf "Monitor resident memory: VmHWM %.1f MB (VmRSS %.1f MB), target <= 32 MB: target %s\n", mhwm / 1024, mrss / 1024, mem_met ? "met" : "MISSED"
    printf "summary: footprint | Monitor CPU over %.0f s (scheduler), CPU-s | %.4f s | <= %.4f s | %s\n", secs, mns, sns, cpu_met ? "met" : "MISSED"
    printf "summary: footprint | Monitor resident memory (VmHWM) | %.1f MB | <= 32 MB | %s\n", mhwm / 1024, mem_met ? "met" : "MISSED"
    printf "summary: footprint | supervisord CPU, same %.0f s (yardstick, scheduler) | %.4f s | - | -\n", secs, sns
    printf "summary: footprint | supervisord resident memory (VmHWM) (yardstick) | %.1f MB | - | -\n", shwm / 1024
    exit !(cpu_met && mem_met)
}' || sound=0

[ "$sound" = 1 ]
