#!/usr/bin/env bash
# Captures loopback traffic between two ecs-remote processes (one listening,
# one connecting and sending every kind of frame and a heartbeat) with tshark
# and decodes it with the Wireshark dissector. What tshark decodes must be
# what the sender says it sent, and the listener must have printed the same
# frames. Skipped (exit 77) when tshark is missing or cannot capture here.
#
# usage: dissector_test.sh ECS_REMOTE DISSECTOR_LUA
set -u
remote=$1
dissector=$2
work=$(mktemp -d)
tshark_pid=""
cleanup() {
    [ -n "$tshark_pid" ] && kill "$tshark_pid" 2>/dev/null && wait "$tshark_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

skip() {
    echo "SKIPPED: $*"
    exit 77
}

command -v tshark >/dev/null || skip "tshark is not installed (apt: tshark)"
# One capture of a whole exchange. Under load tshark has been seen to write
# an empty capture although it said it was capturing: such a run is made once
# more before anything is judged.
capture() {
    port=$((40000 + RANDOM % 20000))
    tshark -i lo -f "tcp port $port" -w "$work/capture.pcapng" >"$work/tshark.log" 2>&1 &
    tshark_pid=$!
    for _ in $(seq 100); do
        grep -q "Capturing on" "$work/tshark.log" && break
        kill -0 "$tshark_pid" 2>/dev/null || break
        sleep 0.1
    done
    if ! kill -0 "$tshark_pid" 2>/dev/null || ! grep -q "Capturing on" "$work/tshark.log"; then
        skip "tshark cannot capture on lo here: $(grep -v '^Running as' "$work/tshark.log" | tail -n 1)"
    fi

    "$remote" --listen --port "$port" --for 2 >"$work/server.txt" 2>"$work/server.err" &
    server_pid=$!
    "$remote" --port "$port" --timeout 10 touch 3 1 10 20 -4 6 100 -100 1234 page 4 Main popup 5 Alert \
        xml "$work/state.xml" raw 0102ff hb wait 300 >"$work/client.txt" 2>"$work/client.err"
    client_status=$?
    wait "$server_pid"
    sleep 0.5
    kill -INT "$tshark_pid"
    wait "$tshark_pid"
    tshark_pid=""
}
printf '<?xml version="1.0" encoding="UTF-8"?>\n<state>\n\t<speed value="42"/>\n</state>\n' >"$work/state.xml"
for attempt in 1 2; do
    capture
    [ -n "$(tshark -r "$work/capture.pcapng" -Y "tcp.len > 0" -T fields -e frame.number 2>/dev/null)" ] && break
    echo "attempt $attempt: the capture holds no payload; capturing once more"
done

status=0
fail() {
    echo "FAIL: $*"
    status=1
}
[ "$client_status" -eq 0 ] || fail "ecs-remote (client) exited with $client_status: $(cat "$work/client.err")"

# What the sender printed, as the dissector's fields:
# magic|type|length|kind|xml|raw|heartbeat
expected=$(sed -n \
    -e 's/^> frame type=\([0-9]*\) kind=xml length=\([0-9]*\) \(.*\)$/0x4e455649|\1|\2|1|\3||/p' \
    -e 's/^> frame type=\([0-9]*\) kind=raw length=\([0-9]*\) hex=\(.*\)$/0x4e455649|\1|\2|0||\3|/p' \
    -e 's/^> heartbeat$/||||||af00/p' "$work/client.txt" |
    awk -F'|' 'BEGIN { OFS = "|" } { gsub(/ /, "", $6); print }')
decoded=$(tshark -r "$work/capture.pcapng" -X lua_script:"$dissector" -Y ecsdt -T fields -E separator='|' \
    -e ecsdt.magic -e ecsdt.type -e ecsdt.length -e ecsdt.kind -e ecsdt.xml -e ecsdt.raw -e ecsdt.heartbeat \
    2>/dev/null)
[ "$(echo "$expected" | wc -l)" -eq 6 ] || fail "the sender did not send six frames and a heartbeat:
$(cat "$work/client.txt")"
[ "$decoded" = "$expected" ] || fail "decoded fields differ
expected:
$expected
decoded:
$decoded"
info=$(tshark -r "$work/capture.pcapng" -X lua_script:"$dissector" -Y ecsdt -T fields -e _ws.col.Info 2>/dev/null)
[ "$info" = "$(printf 'touch_input\npage_cmd\npopup_cmd\nxml\nraw 3\nHeartbeat')" ] || fail "summary lines: $info"

# The listener printed the frames the sender sent (heartbeats stay below it).
sent=$(grep '^> frame' "$work/client.txt" | cut -c3-)
received=$(grep '^< frame' "$work/server.txt" | cut -c3-)
[ "$sent" = "$received" ] || fail "the listening ecs-remote printed
$received
instead of
$sent"
[ $status -eq 0 ] && echo "decoded $(echo "$decoded" | wc -l) frames and the heartbeat as sent"
exit $status
