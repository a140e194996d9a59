# Sourced by check and check-objc, which set $name. Sets $work, $here and $prefix, and installs the build $1.

[ -f "${1:-}/cmake_install.cmake" ] || { echo "$name: not a build tree: ${1:-}" >&2; exit 1; }
build=$(realpath "$1")
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
work=$(mktemp -d)
cloud=
trap '[ -z "$cloud" ] || kill "$cloud"; rm -rf "$work"' EXIT

fail() {
  echo "$name: $1" >&2
  exit 1
}

cmake --install "$build" --prefix "$work/first" >"$work/log"
mv "$work/first" "$work/moved"
prefix=$work/moved
export HOME=$work/home XDG_DATA_HOME=$work/data XDG_STATE_HOME=$work/state
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name geoloom.pc)")
export PKG_CONFIG_PATH

# start_cloud: starts the installed local cloud and sets $service
start_cloud() {
  "$prefix/bin/geoloom-localcloud" --port 0 --data "$work/cloud" >"$work/address" &
  cloud=$!
  until grep -q '^listening on ' "$work/address"; do kill -0 "$cloud" && sleep 0.05 || fail "the local cloud does not start"; done
  service=$(sed -n 's/^listening on //p' "$work/address")
}

# put BODY: one row for a table of the local cloud
put() {
  local host=${service#http://}
  exec 3<>"/dev/tcp/${host%:*}/${host#*:}"
  printf 'POST / HTTP/1.1\r\nHost: %s\r\nX-Amz-Target: DynamoDB_20120810.PutItem\r\nContent-Type: application/x-amz-json-1.0\r\n' "$host" >&3
  printf 'Connection: close\r\nContent-Length: %s\r\n\r\n%s' "${#1}" "$1" >&3
  head -n 1 <&3 | grep -q ' 200 ' || fail "the local cloud does not take a row"
  exec 3>&-
}

# map_and_localize PROGRAM: runs hello_session in both modes; its lamp must come back where the transform moves it
map_and_localize() {
  local program=$1 map hello
  timeout 60 "$program" "$service" key "living room" map >"$work/out" 2>"$work/err" || { cat "$work/out" "$work/err" >&2; fail "the example does not map"; }
  grep -qx 'lamp stored' "$work/out" || fail "the example stores no lamp: $(cat "$work/out")"
  timeout 60 "$program" "$service" key "living room" localize >"$work/out" 2>"$work/err" &
  hello=$!
  until grep -q '^map ' "$work/out"; do kill -0 "$hello" && sleep 0.05 || fail "the example does not open a localization session"; done
  map=$(sed -n 's/^map //p' "$work/out")  # the map's name in this session
  put '{"TableName": "Transformations", "Item": {"SessionId": {"S": "'"$map"'"}, "Timestamp": {"N": "1"},
    "MatchCount": {"N": "12"}, "MatchValue": {"S": "0.4"}, "Transform": {"S": "1,2,3,0"}}}'
  wait "$hello" || { cat "$work/out" "$work/err" >&2; fail "the example receives no assets"; }
  grep -qx 'asset lamp at 1, 3, 1' "$work/out" || fail "the lamp does not come back: $(cat "$work/out")"
}
