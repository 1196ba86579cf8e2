#!/usr/bin/env bash
# A bridge of 500 nodes with a line that loses answers, and a broker that is killed or stands still again and again, for
# as many minutes as named: it has to be ready within a minute, to be idle when nothing happens, to need no more memory in
# the end than after the first minute of faults, and to have said in the end how each node is.
set -euo pipefail
vox=$1 minutes=${2:-5}
work=$(mktemp -d)
pids=() broker=
trap 'exec 2>/dev/null; kill -9 "${pids[@]}" $broker || true; rm -rf "$work"' EXIT
port=$((20000 + RANDOM % 20000))
printf 'user root\nallow_anonymous true\npersistence false\nlistener %d 127.0.0.1\n' $port >"$work/conf"
start_broker() {
    /usr/sbin/mosquitto -c "$work/conf" >/dev/null 2>&1 &
    broker=$!
}
fail() {
    echo "soak: a bridge: $1" >&2
    exit 1
}
start_broker
echo '{"nodes": [{"model": "TB20", "address": "000101-0002F4", "limits": {"up": 0, "down": 3240}}]}' >"$work/nodes.json"
mkfifo "$work/console"
"$vox" sim --config "$work/nodes.json" --speed 20 --bus "udp://127.0.0.1:$((port + 1))?local=$((port + 2))" <"$work/console" >/dev/null 2>&1 &
pids+=($!)
exec 3>"$work/console"
"$vox" bridge --bus "udp://127.0.0.1:$((port + 2))?local=$((port + 1))" --mqtt "mqtt://127.0.0.1:$port" --name soak >"$work/out" 2>/dev/null &
bridge=$!
pids+=("$bridge")
memory() { awk '/VmRSS/ { print $2 }' "/proc/$bridge/status"; }
# In hundredths of a second.
processor_time() { awk '{ print $14 + $15 }' "/proc/$bridge/stat"; }

until grep -q ready "$work/out"; do
    [ $SECONDS -lt 60 ] || fail "not ready after a minute"
    sleep 1
done
echo "soak: a bridge: $(cat "$work/out") after $SECONDS s"
# Names and settings are read, and all is said.
sleep 30
idle=$(processor_time)
sleep 20
idle=$((($(processor_time) - idle) / 20))
echo "soak: a bridge: idle it takes less than $((idle + 1)) % of a core"
[ $idle -lt 10 ] || fail "busy when idle"

echo 'drop all probability 0.05' >&3
echo 'corrupt all probability 0.02' >&3
first=0 commands=0 deaths=0 stops=0 next=60 began=$SECONDS
while [ $((SECONDS - began)) -lt $((minutes * 60)) ]; do
    for _ in {1..20}; do
        if mosquitto_pub -p $port -t "vox/soak/$(printf '%06X' $((0x101 + RANDOM % 500)))/position/set" -m $((RANDOM % 101)) 2>/dev/null; then
            commands=$((commands + 1))
        fi
        sleep 0.2
    done
    if [ $((RANDOM % 4)) -eq 0 ]; then
        kill -STOP $broker
        sleep $((RANDOM % 30))
        kill -CONT $broker
        stops=$((stops + 1))
    else
        kill -9 $broker
        wait $broker 2>/dev/null || true
        sleep 1
        start_broker
        deaths=$((deaths + 1))
    fi
    sleep $((RANDOM % 18 + 2))
    if [ $((SECONDS - began)) -ge $next ]; then
        [ $first -ne 0 ] || first=$(memory)
        echo "soak: a bridge, minute $(((SECONDS - began) / 60)): $(memory) KiB, $commands commands, the broker killed $deaths times and frozen $stops times"
        next=$((next + 60 * (minutes > 9 ? 3 : 1)))
    fi
done
echo clear >&3
sleep "${VOX_SETTLE:-60}"
last=$(memory)
said=$(timeout 5 mosquitto_sub -p $port -F %t -t vox/soak/+/position | wc -l || true)
state=$(timeout 5 mosquitto_sub -p $port -C 1 -t vox/soak/availability || true)
echo "soak: a bridge: $first KiB after a minute, $last KiB in the end; $state, $said positions"
[ "$state" = online ] && [ "$said" -eq 500 ] || fail "does not say again how its nodes are"
[ "$last" -le $((first * 11 / 10)) ] || fail "grows"
