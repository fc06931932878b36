#!/usr/bin/env bash
# The main job: a stand-in host reports points through the real module in a fresh sandbox, the
# module starts the (stand-in) helper, and the cache is shown decoded. Only the sandbox is written.
#   demo.sh BUILD_DIR SANDBOX [--windows]
set -euo pipefail
build=$1
sandbox=$2
windows=${3:-}

if [[ $windows == --windows ]]; then
  exe=.exe module=orinpoint.dll
  # The Wine prefix lives in the sandbox too; it is kept between runs because making one is slow.
  export WINEPREFIX=$sandbox/wineprefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
  run() { /usr/lib/wine/wine64 "$@"; }
  find "$sandbox" -mindepth 1 -maxdepth 1 ! -name wineprefix -exec rm -rf {} +
  mkdir -p "$WINEPREFIX"
  [[ -f $WINEPREFIX/system.reg ]] || { echo "(making a Wine prefix in the sandbox, once)"; run wineboot -i >/dev/null 2>&1 || true; }
  data="$WINEPREFIX/drive_c/ProgramData/QuillBR"
  rm -rf "$data"
else
  exe= module=liborinpoint.so
  run() { "$@"; }
  rm -rf "$sandbox"
  data=$sandbox/data/QuillBR
  export ORIN_COMMON_APPDATA=$sandbox/data ORIN_LOCK_DIR=$sandbox
fi
host=$sandbox/host
mkdir -p "$host" "$(dirname "$data")"

cp "$build/facade/$module" "$build/tools/orinhost/orinhost$exe" "$host/"
# The stand-in helper only writes its command line to orinhlp.log beside itself.
cp "$build/tests/analytics/orinhlp.exe" "$host/orinhlp.exe"
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
mkdir -p "$data"
cat >"$data/BackupRecovery.ini" <<'INI'
[Marketing]
SourceID=demo-campaign
NewPid=demo-pid
INI

echo "sandbox: $sandbox"
echo "host folder: $(cd "$host" && ls | tr '\n' ' ')"
echo "shared data folder: $data"
echo
echo "== the host starts the module and reports three points, then asks for an upload"
# The module's only network traffic is the device-id exchange at start-up; in a private network
# namespace it fails at once and a local id is made.
cd "$host"
if [[ $windows == --windows ]]; then host_cmd=(/usr/lib/wine/wine64 ./orinhost.exe); else host_cmd=(./orinhost); fi
if unshare -n true 2>/dev/null; then
  echo "(running in a private network namespace: nothing leaves this machine)"
  unshare -n sh -c 'ip link set lo up 2>/dev/null; exec "$@"' sh "${host_cmd[@]}"
else
  echo "(no private network namespace here: the device-id request goes to the placeholder host and fails)"
  "${host_cmd[@]}"
fi

echo
echo "== the helper was started as:"
sed 's/\t/ /g; s/^/  /' "$host/orinhlp.log"
echo
echo "== what the module left for the helper in OrAnacfg.ini"
sed 's/^/  /' "$host/OrAnacfg.ini"
echo
echo "== the cache file, record by record (orincache list)"
if [[ $windows == --windows ]]; then
  run "$build/tools/orincache/orincache$exe" list "Z:$data/KD_OF.dat" | sed 's/^/  /'
else
  "$build/tools/orincache/orincache" list "$data/KD_OF.dat" | sed 's/^/  /'
fi
