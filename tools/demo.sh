#!/usr/bin/env bash
# The main job, the whole road: a stand-in host reports points through the real module in a fresh
# sandbox, the module caches them and starts the real helper (orinhlp.exe), which delivers the
# cache to a local collector (orincollect); the demo ends with the collector's report and its
# page written to a file. Only the sandbox is written.
#   demo.sh BUILD_DIR SANDBOX [--windows]
set -euo pipefail
build=$(cd "$1" && pwd)
mkdir -p "$2"
sandbox=$(cd "$2" && pwd)
windows=${3:-}

if [[ $windows == --windows ]]; then
  exe=.exe module=orinpoint.dll
  # The Wine prefix lives in the sandbox too; it is kept between runs because making one is slow.
  export WINEPREFIX=$sandbox/wineprefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
  run() { /usr/lib/wine/wine64 "$@"; }
  data="$WINEPREFIX/drive_c/ProgramData/QuillBR"
  collector=$build/tools/orincollect/host/orincollect
else
  exe= module=liborinpoint.so
  run() { "$@"; }
  data=$sandbox/data/QuillBR
  export ORIN_COMMON_APPDATA=$sandbox/data ORIN_LOCK_DIR=$sandbox
  collector=$build/tools/orincollect/orincollect
fi
host=$sandbox/host
db=$sandbox/collector/events.db

# The part that talks to the network, run in a private network namespace when there is one: the
# collector on ports 80 and 443 of every loopback address (the test builds' hosts are 127.0.0.1,
# .2 and .3), the host, and a last helper run that waits for the one the module started (they
# take turns) and delivers whatever is left.
road() {
  ip link set lo up 2>/dev/null || true
  rm -f "$sandbox/collector/ready"
  "$collector" serve --quiet --test-routes --bind 0.0.0.0 --db "$db" --cert "$sandbox/collector/cert.pem" \
    --key "$sandbox/collector/key.pem" --ready "$sandbox/collector/ready" \
    2>"$sandbox/collector/serve.log" &
  local collector_pid=$!
  trap 'kill "$collector_pid" 2>/dev/null || true' RETURN
  for _ in $(seq 1 200); do
    [[ -f $sandbox/collector/ready ]] && break
    kill -0 "$collector_pid" 2>/dev/null || { cat "$sandbox/collector/serve.log" >&2; return 1; }
    sleep 0.05
  done
  echo
  echo "== the host starts the module and reports three points; the module caches them"
  (cd "$host" && run "./orinhost$exe" script point 1 100 , record , point 2 200 , \
     param 0 size_gb 42 , record , point 2 201 , param 0 seconds 315 , record , wait 3) | sed 's/^/  /'
  echo
  echo "== the host asks for an upload: the module starts orinhlp.exe -submit_cache"
  (cd "$host" && run "./orinhost$exe" submit) | sed 's/^/  /'
  echo
  echo "== the helper once more, by hand (--verbose), after the one the module started"
  (cd "$host" && run "./orinhlp.exe" -submit_cache --verbose) 2>&1 | sed 's/^/  /'
  if [[ $windows == --windows ]]; then /usr/lib/wine/wineserver -w 2>/dev/null || true; fi
}

if [[ ${ORIN_DEMO_ROAD:-} == 1 ]]; then
  road
  exit
fi

if [[ $windows == --windows ]]; then
  find "$sandbox" -mindepth 1 -maxdepth 1 ! -name wineprefix -exec rm -rf {} +
  mkdir -p "$WINEPREFIX"
  [[ -f $WINEPREFIX/system.reg ]] || { echo "(making a Wine prefix in the sandbox, once)"; run wineboot -i >/dev/null 2>&1 || true; }
  # The wineserver makes the sockets, so it must start inside the namespace: none may run yet.
  /usr/lib/wine/wineserver -k 2>/dev/null || true
  /usr/lib/wine/wineserver -w 2>/dev/null || true
  rm -rf "$data"
else
  rm -rf "$sandbox"
fi
mkdir -p "$host" "$(dirname "$data")" "$sandbox/collector"

cp "$build/facade/$module" "$build/tools/orinhost/orinhost$exe" "$build/helper/orinhlp.exe" "$host/"
if [[ -f $build/tests/facade/pe_versioned.exe ]]; then
  cp "$build/tests/facade/pe_versioned.exe" "$host/Safekeep.exe"   # FILEVERSION 7.3.1.9
fi
cat >"$host/BackupRecovery.ini" <<'INI'
[EventTap]
switch=1
INI
cat >"$host/Version.ini" <<'INI'
[cust]
cust_type=QL_Standard
[VersionInfo]
versionCode=7
[ProductVersion]
v=3
INI
# The collect address the helper reads; the file wins over the module's built-in choice.
cat >"$host/OrAnacfg.ini" <<'INI'
[Analyze]
Address=https://127.0.0.1/api/v2/soft/collect
INI
mkdir -p "$data"
cat >"$data/BackupRecovery.ini" <<'INI'
[Marketing]
SourceID=demo-campaign
NewPid=demo-pid
INI
# A certificate made now for the collector's HTTPS, naming the three hosts; the module's client
# accepts an unknown issuer, not another host's name.
openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1 \
  -addext "subjectAltName=DNS:127.0.0.1,IP:127.0.0.1,DNS:127.0.0.2,IP:127.0.0.2,DNS:127.0.0.3,IP:127.0.0.3" \
  -keyout "$sandbox/collector/key.pem" -out "$sandbox/collector/cert.pem" >/dev/null 2>&1

echo "sandbox: $sandbox"
echo "host folder: $(cd "$host" && ls | tr '\n' ' ')"
echo "shared data folder: $data"
echo "collector: $collector, storing in $db"
export ORIN_DEMO_ROAD=1
if unshare -n true 2>/dev/null; then
  echo "(running in a private network namespace: the collector holds ports 80 and 443 of 127.0.0.1-3 there, nothing leaves this machine)"
  unshare -n "$0" "$@"
else
  echo "(no private network namespace here: the collector needs ports 80 and 443 of this machine's 127.0.0.1-3)"
  "$0" "$@"
fi
unset ORIN_DEMO_ROAD

echo
echo "== what the module left for the helper in OrAnacfg.ini"
sed 's/^/  /' "$host/OrAnacfg.ini"
echo
echo "== what is left in the cache folder"
left=$(cd "$data" && ls KD_OF.dat* 2>/dev/null || true)
echo "  ${left:-nothing: every event was delivered}"
echo
echo "== the collector's report (orincollect report)"
"$collector" report "$db" | sed 's/^/  /'
echo
echo "== the collector's page (orincollect report --html; served at / while the collector runs)"
"$collector" report "$db" --html "$sandbox/collector/page.html"
echo "  $sandbox/collector/page.html"
