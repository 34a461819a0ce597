# Sourced by the shell tests: start_feed_server WORK_DIR starts feed_server.py over WORK_DIR/feed,
# which holds appcast.xml offering Moxley 9.0, and sets FEED_URL to it; the server is stopped by
# stop_feed_server (the caller's EXIT trap should call it).
feed_server_pid=
start_feed_server() {
  local work=$1 here
  here=$(dirname "${BASH_SOURCE[0]}")
  mkdir -p "$work/feed"
  cat > "$work/feed/appcast.xml" <<'XML'
<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel><title>Moxley</title><item><title>Version 9.0</title><sparkle:version>900</sparkle:version>
<sparkle:shortVersionString>9.0</sparkle:shortVersionString></item></channel></rss>
XML
  python3 "$here/feed_server.py" "$work/feed" "$work/feed-port" &
  feed_server_pid=$!
  local i
  for i in $(seq 100); do
    [ -s "$work/feed-port" ] && break
    kill -0 "$feed_server_pid" 2>/dev/null || { echo "the feed server did not start" >&2; return 1; }
    sleep 0.1
  done
  [ -s "$work/feed-port" ] || { echo "the feed server did not listen" >&2; return 1; }
  FEED_URL="http://127.0.0.1:$(cat "$work/feed-port")/appcast.xml"
}
stop_feed_server() {
  if [ -n "$feed_server_pid" ]; then
    kill "$feed_server_pid" 2>/dev/null || true
    wait "$feed_server_pid" 2>/dev/null || true
    feed_server_pid=
  fi
}
