# Sourced by run-demo.sh (it uses its pids and wait_listening): the web console
# over the demo's displays.
# start_web DEMO BIN: a demo operator account (its password generated once and
# kept in DEMO/web-password), then `qmdvars serve` on 127.0.0.1 (port
# LUMAREX_DEMO_WEB_PORT, default 47080) over the demo's display list, stopped
# with the emulators. Sets web_url, web_account and web_password.
start_web() {
  local demo="$1" bin="$2"
  web_account=demo-operator
  if [ ! -s "$demo/web-password" ]; then
    (umask 077; head -c 12 /dev/urandom | base64 | tr -d '/+=' >"$demo/web-password")
  fi
  web_password="$(cat "$demo/web-password")"
  if ! "$bin/qmdvars" user list | grep -q "^$web_account	"; then
    printf '%s\n' "$web_password" | "$bin/qmdvars" user add "$web_account" --role operator
  else
    printf '%s\n' "$web_password" | "$bin/qmdvars" user passwd "$web_account" 2>/dev/null
  fi
  local log="$demo/serve.log"
  "$bin/qmdvars" --displays-file "$demo/host/Displays.dat" serve \
    --listen "127.0.0.1:${LUMAREX_DEMO_WEB_PORT:-47080}" --jobs 2 >"$demo/serve.out" 2>"$log" &
  pids+=($!)
  wait_listening "$demo/serve.out" "qmdvars serve" LUMAREX_DEMO_WEB_PORT
  web_url="$(awk '/^LISTENING /{print $2; exit}' "$demo/serve.out")"
  echo "run-demo: qmdvars serve on $web_url (log: $log)"
}

print_web() {
  echo "Web console: $web_url"
  echo "Account:     $web_account"
  echo "Password:    $web_password"
}
