#!/usr/bin/env python3
"""Runs the demo and every scenario script with --json: every line must be a
JSON object, the first the version line, the exit status as in text mode;
then checks a few values a script would rely on.
usage: json_lines.py DMSIM SOURCE_DIR"""
import glob
import json
import os
import re
import subprocess
import sys

dmsim, src = sys.argv[1], sys.argv[2]
failures = []


def run(script):
    text = open(os.path.join(src, script)).read()
    status = re.search(r"^# status: (\d+)$", text, re.M)
    options = re.search(r"^# options: (.+)$", text, re.M)
    args = [dmsim, "--json"] + (options.group(1).split() if options else []) + [script]
    p = subprocess.run(args, cwd=src, capture_output=True, text=True, timeout=300)
    want = int(status.group(1)) if status else 0
    if p.returncode != want:
        failures.append(f"{script}: exit status {p.returncode}, expected {want}")
    if p.stderr:
        failures.append(f"{script}: wrote to standard error: {p.stderr[:200]}")
    objs = []
    for n, line in enumerate(p.stdout.splitlines(), 1):
        try:
            obj = json.loads(line)
        except ValueError as e:
            failures.append(f"{script}:{n}: not JSON ({e}): {line[:120]}")
            continue
        if not isinstance(obj, dict) or (n > 1 and "cmd" not in obj):
            failures.append(f"{script}:{n}: not a command object: {line[:120]}")
        objs.append(obj)
    if not objs or objs[0] != {"dmsim": objs[0].get("dmsim"), "v": 1}:
        failures.append(f"{script}: the first line is not the version line")
    return objs


def check(what, cond):
    if not cond:
        failures.append(what)


scripts = ["examples/demo.dms"] + sorted(
    os.path.relpath(p, src) for p in glob.glob(os.path.join(src, "tests/dmsim/*.dms")))
runs = {s: run(s) for s in scripts}

demo = runs["examples/demo.dms"]
calls = [o for o in demo if o.get("cmd") == "call"]
first = calls[0]
check("demo: a call carries fn, args, ret and out",
      first["fn"] == "dm_get_pinfo_by_phyid" and first["ret"] == 0 and
      first["out"]["pinfo"]["ifx"] == 0x00102005)
check("demo: identifiers are decoded beside their numbers",
      first["decoded"]["args"][0] == {"form": "slot_lport", "device": 1, "slot": 2, "lport": 5}
      and first["decoded"]["pinfo"]["node"]["slot"] == 2)
events = [o for o in demo if o.get("cmd") == "events"]
chip_events = [o for o in demo if o.get("cmd") == "event" and o["id"] == 1024]
check("demo: the first events answer counts the eight chip-ID events", events[0]["count"] == 8)
check("demo: an event carries its name and payload",
      chip_events[0]["name"] == "DEV_MSG_CHIPIP_ALLOC" and chip_events[0]["data"]["chipid"] == 32
      and chip_events[0]["decoded"]["node_type"] == "box")
chassis = next(o["chassis"] for o in demo if "chassis" in o)
card = chassis["devices"][0]["cards"][0]
check("demo: show chassis gives the cards and ports as data",
      card["name"] == "LC8-10G" and card["chip_ids"] == [32, 33] and card["this_card"]
      and card["ports"][0]["flags"] == ["split_parent"] and card["ports"][4]["chip_port"] == 1)

fail = runs["tests/dmsim/expect_fail.dms"]
expects = [o for o in fail if o.get("cmd") == "expect"]
check("expect_fail: a failed check says why",
      not expects[0]["ok"] and expects[0]["checks"][1] ==
      {"check": "sysport=691", "ok": False, "why": "sysport is 690, expected 691"})
check("expect_fail: a check that holds is ok", expects[-1]["ok"])
errors = [o for o in runs["tests/dmsim/bad_input.dms"] if "error" in o]
check("bad_input: errors name the command, file and line",
      errors and all({"cmd", "file", "line"} <= o.keys() for o in errors))

# show N carries the library's own text; json off gives text back.
p = subprocess.run([dmsim, "--json", "-"], cwd=src, capture_output=True, text=True, timeout=60,
                   input="gen\nshow 6\njson off\necho plain\n")
lines = p.stdout.splitlines()
show = json.loads(lines[2])
check("show 6 carries the library's table", show["para"] == 6 and "dm_ifx_root" in show["text"])
check("json off ends the objects", json.loads(lines[3]) == {"cmd": "json", "json": False}
      and lines[4] == "plain")

for f in failures:
    print("FAIL:", f)
print(f"{len(scripts)} scripts, {len(failures)} failures")
sys.exit(1 if failures else 0)
