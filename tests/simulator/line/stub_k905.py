#!/usr/bin/python3
"""Stands for `k905 check --json` where only the line itself is tested: two steps, a rail by seed and noise."""
import json
import os
import sys
import time

words = sys.argv[1:]
seed = int(words[words.index("--seed") + 1])
start = json.loads(words[words.index("--start") + 1]) if "--start" in words else {"set": {}}
true = 1.0 + (seed * 37 % 101) / 2000
read = true + ((seed + start["set"].get("noise.seed", 0)) * 53 % 97 - 48) / 50000
time.sleep(float(os.environ.get("STUB_SECONDS", "0.05")))
for step in ({"step": "Voltages", "passed": True, "seen": f"OK  TP97:   {read:.5f}V", "wrong": "", "seconds": 0.5 + seed / 8,
              "texts": [f"OK  TP97:   {read:.5f}V"], "state": {"board": {"rails": {"TP97": true}}}},
             {"step": "USB", "passed": seed % 5 != 0, "seen": "", "wrong": "" if seed % 5 else "not on the screen: ^Usb Check OK!$",
              "seconds": 1.25, "texts": [], "state": {}}):
    print(json.dumps(step))
sys.exit(seed % 5 == 0)
