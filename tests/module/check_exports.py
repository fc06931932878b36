#!/usr/bin/env python3
"""Fails unless the module exports exactly GetOrinPointObj (objdump -p for a DLL, nm -D for a .so)."""
import subprocess
import sys

tool, module = sys.argv[1], sys.argv[2]
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
print("exports:", names)
sys.exit(0 if names == ["GetOrinPointObj"] else 1)
