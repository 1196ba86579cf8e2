#!/usr/bin/env bash
# A bridge with a line that loses answers and a broker that is killed again and again, for as many minutes as named: its
# memory has to stay where it is, and in the end it has to be online.
set -euo pipefail
vox=$1 minutes=${2:-5}
work=$(mktemp -d)
pids=()
trap 'kill -9 "${pids[@]}" $broker 2>/dev/null || true; rm -rf "$work"' EXIT
port=$((20000 + RANDOM % 20000))
printf 'user root\nallow_anonymous true\npersistence false\nlistener %d 127.0.0.1\n' $port >"$work/conf"
start_broker() {
    /usr/sbin/mosquitto -c "$work/conf" >/dev/null 2>&1 &
    broker=$!
}
start_broker
echo '{"nodes": [{"model": "TB20", "address": "000101-00013C", "limits": {"up": 0, "down": 3240}}]}' >"$work/nodes.json"
mkfifo "$work/console"
"$vox" sim --config "$work/nodes.json" --speed 20 --bus "udp://127.0.0.1:$((port + 1))?local=$((port + 2))" <"$work/console" >/dev/null 2>&1 &
pids+=($!)
exec 3>"$work/console"
echo 'drop all probability 0.05' >&3
echo 'corrupt all probability 0.02' >&3
"$vox" bridge --bus "udp://127.0.0.1:$((port + 2))?local=$((port + 1))" --mqtt "mqtt://127.0.0.1:$port" --name soak >"$work/out" 2>/dev/null &
bridge=$!
pids+=("$bridge")
memory() { awk '/VmRSS/ { print $2 }' "/proc/$bridge/status"; }
first=0
end=$((SECONDS + minutes * 60))
while [ $SECONDS -lt $end ]; do
    for _ in {1..20}; do
        mosquitto_pub -p $port -t "vox/soak/0001$(printf '%02X' $((RANDOM % 60 + 1)))/position/set" -m $((RANDOM % 101)) 2>/dev/null || true
        sleep 0.2
    done
    kill -9 $broker
    wait $broker 2>/dev/null || true
    sleep 1
    start_broker
    sleep 6
    [ "$first" -ne 0 ] || [ $SECONDS -lt 30 ] || first=$(memory)
done
sleep "${VOX_SETTLE:-30}"
last=$(memory)
state=$(timeout 5 mosquitto_sub -p $port -C 1 -t vox/soak/availability || true)
echo "soak: a bridge and a broker that dies: $first KiB at first, $last KiB in the end, $state"
# Who is killed is not news.
exec 2>/dev/null
[ "$state" = online ] && [ "$last" -le $((first * 11 / 10)) ]
