#!/usr/bin/env python3
"""Fails unless the module exports exactly GetOrinPointObj (objdump -p for a DLL, nm -D for a .so),
and unless a .so leaves to its first use (libcurl with its OpenSSL) or holds inside (JsonCpp)
what a host's load would otherwise map and bind (objdump -p, the third argument)."""
import subprocess
import sys

NOT_NEEDED_AT_LOAD = ("libcurl", "libjsoncpp", "libssl", "libcrypto", "libuuid")

tool, module = sys.argv[1], sys.argv[2]
late = []
if module.endswith(".dll"):
    text = subprocess.run([tool, "-p", module], check=True, capture_output=True, text=True).stdout
    names, inside = [], False
    for line in text.splitlines():
        if "[Ordinal/Name Pointer] Table" in line:
            inside = True
        elif inside and line.strip().startswith("["):
            names.append(line.split("]", 1)[1].strip())
        elif inside:
            inside = False
else:
    text = subprocess.run([tool, "-D", "--defined-only", module], check=True, capture_output=True,
                          text=True).stdout
    # Symbols of kind T/D/B/... that the dynamic linker can bind to from outside.
    names = [parts[2] for parts in (l.split() for l in text.splitlines())
             if len(parts) == 3 and parts[1] in "TDBRVWiu"]
    headers = subprocess.run([sys.argv[3], "-p", module], check=True, capture_output=True,
                             text=True).stdout
    needed = [parts[1] for parts in (l.split() for l in headers.splitlines())
              if len(parts) == 2 and parts[0] == "NEEDED"]
    late = [n for n in needed if n.startswith(NOT_NEEDED_AT_LOAD)]
    print("needed:", needed)
print("exports:", names)
if late:
    print("needed at load:", late)
sys.exit(0 if names == ["GetOrinPointObj"] and not late else 1)
