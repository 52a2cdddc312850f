#!/usr/bin/env bash
# Instruction counts of the port table under callgrind: a fixed mix of
# lookups (every getter and form over every port, in a fixed random order)
# and the ingest and refresh of every port, each beside its floor; or, with
# --growth, the growth series' lookups from 1,024 to 262,144 ports.
#
# usage: bench/callgrind.sh DIR [--growth] [--summary] [N]
#   DIR        a release build with DIR/bin/dm_port_mix
#   --growth   the growth series instead of the mix
#   --summary  print only the lines bench/compare shows (reported figures)
#   N          ports in the mix's table (default 16384)
#
# Prints instructions per lookup and per ingested port (callgrind's Ir over
# the phase's count). The dumps stay in DIR/bench/callgrind/.
set -euo pipefail

dir=${1:?usage: bench/callgrind.sh DIR [--growth] [--summary] [N]}
shift
mode=mix
summary=0
while [[ ${1:-} == --* ]]; do
    case $1 in
    --growth) mode=growth ;;
    --summary) summary=1 ;;
    *) echo "unknown option $1" >&2; exit 2 ;;
    esac
    shift
done
ports=${1:-16384}

mix="$dir/bin/dm_port_mix"
[[ -x $mix ]] || { echo "no $mix (build DIR with DM_BENCH=ON)" >&2; exit 1; }
command -v valgrind >/dev/null || { echo "valgrind is not installed" >&2; exit 1; }

out="$dir/bench/callgrind"
mkdir -p "$out"

# One run of the mix into $out/$1/: each phase zeroes the counters and
# dumps them under its own name; the rest runs uninstrumented.
run_mix() {
    local name=$1
    shift
    rm -rf "${out:?}/$name"
    mkdir -p "$out/$name"
    valgrind --tool=callgrind --instr-atstart=no \
        --callgrind-out-file="$out/$name/callgrind.out" \
        "$mix" "$@" >"$out/$name/counts.txt" 2>"$out/$name/valgrind.log"
}

if [[ $mode == growth ]]; then
    for n in 1024 4096 16384 65536 262144; do
        run_mix "growth-$n" --growth "$n"
    done
else
    run_mix mix "$ports"
fi

python3 - "$out" "$mode" "$summary" <<'EOF'
import glob
import os
import sys

out, mode, summary = sys.argv[1], sys.argv[2], sys.argv[3] == "1"
TRIGGER = "desc: Trigger: Client Request: "


def load(run):
    """(counts, instructions) of one run: phase -> count, phase -> Ir."""
    counts, instr = {}, {}
    with open(os.path.join(run, "counts.txt")) as f:
        for line in f:
            name, value = line.rsplit(None, 1)
            counts[name] = float(value)
    # Callgrind's dump files: "desc: Trigger: Client Request: NAME", "totals: IR".
    for path in glob.glob(os.path.join(run, "callgrind.out*")):
        name = total = None
        with open(path) as f:
            for line in f:
                if line.startswith(TRIGGER):
                    name = line[len(TRIGGER):].strip()
                elif line.startswith(("totals:", "summary:")):
                    total = int(line.split()[1])
        if name is not None and total is not None:
            instr[name] = total
    return counts, instr


if mode == "growth":
    rows = []
    for run in sorted(glob.glob(os.path.join(out, "growth-*")),
                      key=lambda p: int(p.rsplit("-", 1)[1])):
        counts, instr = load(run)
        n = int(run.rsplit("-", 1)[1])
        for name in sorted(k for k in instr if not k.endswith(".floor")):
            series = name[len("growth/"):]
            case = instr[name] / counts[name]
            floor = instr[name + ".floor"] / counts[name + ".floor"]
            rows.append((series, n, case, floor))
    if summary:
        for series in sorted({r[0] for r in rows}):
            mine = sorted((r for r in rows if r[0] == series), key=lambda r: r[1])
            lo, hi = mine[0], mine[-1]
            print("instructions growth/%s Ir_per_lookup=%.0f..%.0f floor=%.0f..%.0f "
                  "(from %d to %d ports) reported"
                  % (series, lo[2], hi[2], lo[3], hi[3], lo[1], hi[1]))
        sys.exit(0)
    print("%-36s %7s %9s %9s" % ("series", "ports", "Ir/lookup", "floor"))
    for series, n, case, floor in sorted(rows):
        print("%-36s %7d %9.0f %9.0f" % (series, n, case, floor))
    sys.exit(0)

counts, instr = load(os.path.join(out, "mix"))


def per(name):
    return instr[name] / counts[name]


def pair(name):
    case, floor = per(name), per(name + ".floor")
    return case, floor, case / floor


if summary:
    case, floor, ratio = pair("lookup_mix")
    print("instructions lookup_mix per_lookup=%.0f floor=%.0f ratio=%.2f reported"
          % (case, floor, ratio))
    case, floor, ratio = pair("ingest")
    print("instructions ingest per_port=%.0f floor=%.0f ratio=%.2f refresh per_port=%.0f reported"
          % (case, floor, ratio, per("refresh")))
    sys.exit(0)

print("%-58s %10s %10s %6s" % ("instructions per item (Ir)", "library", "floor", "ratio"))
for name in ["ingest", "lookup_mix"] + sorted(n for n in instr if n.startswith("lookup/")
                                              and not n.endswith(".floor")):
    case, floor, ratio = pair(name)
    print("%-58s %10.0f %10.0f %6.2f" % (name, case, floor, ratio))
print("%-58s %10.0f" % ("refresh (same keys)", per("refresh")))
print("ports %d, kernel requests %d" % (counts["ingest"], counts.get("kernel", -1)))
EOF
