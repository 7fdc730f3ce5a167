#!/usr/bin/python3
# One class of bad input against every command it applies to:
#   cli_attack.py MIRVO MAKE_FIXTURES DATA_DIR CLASS
# Each row of the table is a call that must end with its status (1: bad data
# or I/O, 2: usage) and one short line on stderr holding the row's text ("..."
# separates parts that must all appear), within 20 s and 150 MB resident, and
# change nothing: every file under the test directory (earlier outputs, inputs,
# the bad files, links and nodes) stays as it was and nothing is added, not
# even a temporary file. A field "*NAME=A B" repeats the row for each value;
# "role" takes the command that reads that input. Exit status 77: the class
# cannot be simulated here.
import hashlib, itertools, os, re, shlex, shutil, stat, subprocess, sys, tempfile, threading

MIRVO, FIXTURES, DATA = map(os.path.abspath, sys.argv[1:4])
CLASS = sys.argv[4]
T = tempfile.mkdtemp(prefix="mirvo_cli_test.")
IN, O, C = T + "/in", T + "/out", T + "/cal"
P = dict(T=T, IN=IN, O=O, C=C, S=T + "/special", D=T + "/same", R=T + "/readonly", F=T + "/full/out",
         RAW="--width 520 --height 384 --bits 10 --pattern RGGB", FLAT="{C}/flat.raw {RAW} --black-level 1024",
         RUN="run --base {IN}/base.h --stats {IN}/stats_000.txt", RAWIN="--raw {IN}/raw_000.raw {RAW}",
         LEARN="learn --table {C}/a.h {C}/b.h", ST="{IN}/stats_000.txt",
         IMPORT="table --import {C}/cal.json --ct", NT="not a valid LSC table header file: ",
         NTU="not a valid tuning header file: ", NS="not a valid statistics dump: ")
ROOT = os.getuid() == 0
failures, mounts = [], []


def fmt(s, names={}):
    for _ in range(4):  # values name other values
        s = s.format(**P, **names)
    return s


def fail(what):
    failures.append(what)
    print("FAIL:", what, file=sys.stderr)


def mirvo(args, env=None, cwd=None, close=None, stdout=None):
    """Runs the program; returns its status, stdout, stderr and peak resident size in KB."""
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        p = subprocess.Popen([MIRVO] + shlex.split(fmt(args)), stdin=subprocess.DEVNULL, stdout=stdout or out,
                             stderr=err, cwd=cwd, env=dict(os.environ, **(env or {})),
                             preexec_fn=None if close is None else lambda: os.close(close))
        timer = threading.Timer(20, p.kill)
        timer.start()
        _, status, usage = os.wait4(p.pid, 0)
        timer.cancel()
        p.returncode = os.waitstatus_to_exitcode(status)
        out.seek(0), err.seek(0)
        return p.returncode, out.read().decode(errors="replace"), err.read().decode(errors="replace"), usage.ru_maxrss


def must(args, **kw):
    r = mirvo(args, **kw)
    if r[0] != 0:
        sys.exit(f"setup failed: mirvo {fmt(args)}: {r[2]}")


def snapshot(top=T):
    tree = {}
    for root, dirs, files in os.walk(top):
        for name in dirs + files:
            p = os.path.join(root, name)
            s = os.lstat(p)
            if stat.S_ISREG(s.st_mode):  # the sparse 3 GB file by size and time
                tree[p] = (s.st_size, s.st_mtime_ns) if s.st_size > 1 << 26 else hashlib.sha256(
                    open(p, "rb").read()).hexdigest()
            else:
                tree[p] = (stat.S_IFMT(s.st_mode), os.readlink(p) if stat.S_ISLNK(s.st_mode) else "")
    return tree


def read(path):
    return open(fmt(path), "rb").read().decode("latin-1")


def put(name, text):
    with open(T + "/" + name, "wb") as f:
        f.write(text.encode("latin-1"))


def derive(name, src, pattern, repl, count=1):
    """NAME: SRC with PATTERN replaced COUNT times (0: all)."""
    text = read(src)
    new = re.sub(pattern, repl, text, count=count, flags=re.M | re.S)
    assert new != text, f"fixture {name} is not broken"
    put(name, new)


# The scene: fixture inputs, a flat field and two base tables for the
# calibration commands, and earlier outputs of every writing command in O.
os.makedirs(IN), os.makedirs(C), os.makedirs(O)
if subprocess.call([FIXTURES, IN]):
    sys.exit("cannot write fixtures")
open(C + "/flat.raw", "wb").write(b"\x58\x02" * 520 * 384)  # every sample 600
shutil.copy(DATA + "/lsc/rkisp1_imx258.json", C + "/cal.json")
must("table --import {C}/cal.json --ct 2856 --out {C}/a.h")
must("table --import {C}/cal.json --ct 7504 --out {C}/b.h")


def write_earlier(o):
    for args in ["{RUN} --debug --png --out-dir {o}", "view {o}/diag_000.txt --out-dir {o}/view",
                 "stats --raw {IN}/raw_000.raw {RAW} --out {o}/s.txt --mean-image {o}/m.raw",
                 "table {IN}/base.h --sim {o}/t.sim --png {o}/t.png", "calibrate --raw {FLAT} --png --out {o}/c.h",
                 "{LEARN} --out {o}/l.h", "{IMPORT} 5000 --out {o}/i.h", "report {o}"]:
        must(args.replace("{o}", o))


write_earlier(O)

# Each input role: what messages call it, the call that reads it with every
# output aimed at the earlier ones.
ROLE = {
    "base": ("an LSC table header file", "run --base {f} --stats {IN}/stats_000.txt --debug --png --out-dir {O}"),
    "tuning": ("a tuning header file", "{RUN} --tuning {f} --debug --png --out-dir {O}"),
    "override": ("an override map file", "{RUN} --override {f} --debug --png --out-dir {O}"),
    "stats": ("a statistics dump", "run --base {IN}/base.h --stats {f} --debug --png --out-dir {O}"),
    "table": ("an LSC table header file", "table {f} --sim {O}/t.sim --png {O}/t.png"),
    "view": ("a diagnostic dump", "view {f} --out-dir {O}/view"),
    "learn": ("an LSC table header file", "learn --table {C}/a.h {f} --out {O}/l.h"),
    "learn_tuning": ("a tuning header file", "{LEARN} --tuning {f} --out {O}/l.h"),
    "import": ("a JSON calibration", "table --import {f} --ct 5000 --out {O}/i.h"),
    "raw": ("a raw frame", "run --base {IN}/base.h --raw {f} {RAW} --debug --png --out-dir {O}"),
    "stats_raw": ("a raw frame", "stats --raw {f} {RAW} --out {O}/s.txt --mean-image {O}/m.raw"),
    "calibrate": ("a raw frame", "calibrate --raw {f} {RAW} --black-level 1024 --png --out {O}/c.h"),
}
RAW_ROLES = "raw stats_raw calibrate"
TEXT_ROLES = "base tuning override stats table view learn learn_tuning import"
# Calls that write one file {x}, and calls that write into the directory {d}, first the file after x=.
ONE = ("stats {RAWIN} --out {x}; table {IN}/base.h --sim {x}; table {IN}/base.h --png {x}; calibrate --raw {FLAT} "
       "--out {x}; {LEARN} --out {x}; {IMPORT} 5000 --out {x}")
DIRS = ("{RUN} --png --out-dir {d} x=table_000.h; view {O}/diag_000.txt --out-dir {d} x=GradH_UX.png; "
        "demo --frames 1 --out-dir {d} x=base.h")
KIND = {"link": "a symbolic link", "dangling": "a symbolic link", "fifo": "a FIFO", "device": "a character device"}

TABLE = """
missing 1 | {f}: cannot open {what}: No such file or directory | | f={T}/nope | *role=%(ROLES)s
missing 1 | {T}/nope.txt: cannot open a statistics dump | {RUN} {T}/nope.txt --debug --png --out-dir {O}
missing 2 | mirvo run: missing --base | run --stats {IN}/stats_000.txt --out-dir {O}
missing 2 | mirvo run: missing --out-dir | {RUN}
missing 2 | mirvo run: give one of --stats FILE..., --raw FILE... or --dng FILE... | run --base {IN}/base.h \
--out-dir {O}
missing 2 | mirvo table: missing --out | {IMPORT} 5000

empty 1 | {f}: is empty, expected {what} | | f={T}/empty | *role=%(ROLES)s
empty 2 | mirvo: empty file name given for an LSC table header file | table ''
empty 2 | mirvo run: --base needs a value | run --base '' --stats {IN}/stats_000.txt --out-dir {O}
empty 2 | mirvo run: --out-dir needs a value | {RUN} --out-dir=

# Cut short.
truncated 1 | {f}: {NT}plane R | | f={T}/mid.h | *role=base table learn
truncated 1 | {f}: {NTU} | | f={T}/mid_tuning.h | *role=tuning learn_tuning
truncated 1 | {f}: line 2: "limit_t" is not a key=value line | | f={T}/cut_override.txt | role=override
truncated 1 | {f}: {NS} | | f={T}/cut_stats.txt | role=stats
truncated 1 | {f}: raw frame of 1000 bytes, expected 399360 for 520x384 unpacked 16-bit | | f={T}/cut.raw \
| *role=%(RAW)s
truncated 1 | {f}: raw frame of 251896 bytes, expected 251904 for 520x384 RAW10 MIPI | stats --raw {f} {RAW} --mipi \
--out {O}/s.txt | f={T}/cut_mipi.raw
truncated 1 | {f}: line | | f={T}/cut_diag.txt | role=view
truncated 1 | {f}: line 5: truncated: grid values has no line end | | f={T}/short_diag.txt | role=view
truncated 1 | {f}: not valid JSON | | f={T}/cut.json | role=import
truncated 1 | {T}/short_diag.txt: line 5 | view {T}/short_diag.txt --out-dir {T}/new_view
# A bad frame in the middle: no frame runs, not even those before it.
truncated 1 | {T}/cut_stats.txt: {NS} | {RUN} {T}/cut_stats.txt {IN}/stats_001.txt --out-dir {T}/sequence

oversized 1 | {f}: file of 3221225472 bytes is too large for {what} (at most | | f={T}/huge | *role=%(TEXT)s
oversized 1 | {f}: raw frame of 3221225472 bytes, expected 399360 | | f={T}/huge | *role=%(RAW)s
oversized 2 | mirvo run: frame of 60000x60000 pixels is too large | run --base {IN}/base.h --raw {IN}/raw_000.raw \
--width 60000 --height 60000 --bits 10 --pattern RGGB --out-dir {O}
# More values than the format holds, which the library's readers would skip.
oversized 1 | {f}: {NT}text after the B plane | | f={T}/two_tables.h | role=table
oversized 1 | {f}: {NTU}[BgVHXY]: more than 1480 values | | f={T}/long_tuning.h | role=tuning
# Summaries made to exhaust the JSON reader (100,000 levels of nesting, a tree
# 20 times the file's 9 MB, a token of 100 KB), within the memory bound.
oversized 1 | {T}/deep/summary.json: JSON nested deeper than 64 levels | report {T}/deep
oversized 1 | {T}/wide/summary.json: ...more than 16 times the file's size | report {T}/wide
oversized 1 | {T}/token/summary.json: not valid JSON at byte | report {T}/token

wrong_format 1 | {f}: {NT}missing marker "/* R Gain */" | | *f={T}/picture.png {IN}/tuning.h | *role=base table learn
wrong_format 1 | {f}: {NTU}section [Version] not found | | f={IN}/base.h | *role=tuning learn_tuning
wrong_format 1 | {f}: {NS}section marker "*r_sum[768]" not found | | f={T}/picture.png | role=stats
wrong_format 1 | {f}: not a text file (control byte at offset 6) | | f={T}/picture.png | role=override
wrong_format 1 | {f}: line 1: key or value missing in | | f={T}/diag_000.txt | role=override
wrong_format 1 | {f}: sets none of the known keys | | f={T}/other_keys.txt | role=override
wrong_format 1 | {f}: line 1: expected a line 'key=', found '?PNG?' | | f={T}/picture.png | role=view
wrong_format 1 | {f}: raw frame of 41450 bytes, expected 399360 | | f={IN}/stats_000.txt | *role=%(RAW)s
wrong_format 1 | {f}: not valid JSON | | *f={IN}/base.h {T}/binary.json | role=import
# The layouts mixed up.
wrong_format 1 | {f}: raw frame of 251904 bytes, expected 399360 for 520x384 unpacked | | f={IN}/mipi_000.raw | role=raw
wrong_format 1 | {f}: raw frame of 399360 bytes, expected 251904 for 520x384 RAW10 MIPI | stats --raw {f} {RAW} --mipi \
--out {O}/s.txt | f={IN}/raw_000.raw
wrong_format 2 | mirvo run: --grid: the engine takes only 32x24 statistics | run --base {IN}/base.h --raw \
{IN}/raw_000.raw {RAW} --grid 16x12 --out-dir {O}
wrong_format 2 | mirvo calibrate: --grid: the measurement grid is fixed | calibrate --raw {FLAT} --grid 32x24 \
--out {O}/c.h
wrong_format 2 | mirvo run: --crop: give six numbers | {RUN} --crop 1,2,3 --out-dir {O}
wrong_format 2 | mirvo learn: --reference: '{C}/cal.json' is not one of the --table files | {LEARN} --reference \
{C}/cal.json --out {O}/l.h

# Text the loaders would take without a word but wrongly: a NUL byte ends a C
# conversion early, a decimal comma reads as the number before it, and of a
# tuning section given twice only the first would count.
silently_wrong 1 | {f}: {NT}plane R: value 1 " | | f={T}/nul.h | *role=base table learn
silently_wrong 1 | {f}: {NTU}NUL byte on line | | f={T}/nul_tuning.h | *role=tuning learn_tuning
silently_wrong 1 | {f}: {NS}*r_sum[768]: value 1 "0x? | | f={T}/nul.txt | role=stats
silently_wrong 1 | {f}: line 1: value "0,05" of smooth_thd is not a finite number | | f={T}/comma.txt | role=override
silently_wrong 1 | {f}: {NTU}section [{s}] appears twice (lines ... and {TL}) | | f={T}/twice_{s}.h | role=tuning \
| *s=Version TuningParams BUL BgVHXY

# Keys declare a grid's size; memory and pictures follow the values present.
huge_declared 1 | {f}: line 3: grid g[2048][2048] does not hold 4194304 values | | f={T}/empty_grid.txt | role=view
huge_declared 1 | {f}: line 2: grid key g[1][99999999999] does not end in [rows][cols] | | f={T}/beyond.txt | role=view
huge_declared 1 | {f}: grid g[1][1000000] is too large to draw (at most 4096 rows or columns) | | f={T}/thin.txt \
| role=view

non_numeric 1 | {f}: {NT}plane R: value 1 "1.2x3f," is not a finite number | | f={T}/glued.h | *role=base table learn
non_numeric 1 | {f}: {NTU}[ | | *f={T}/grid_word.h {T}/grid_range.h {T}/value_word.h | role=tuning
non_numeric 1 | {f}: {NTU}[ | | f={T}/value_word.h | role=learn_tuning
non_numeric 1 | {f}: line 2: value "abc" of limit_thd is not a finite number | | f={T}/word.txt | role=override
non_numeric 1 | {f}: {NS}*r_sum[768]: token 5 "zz" is not a hexadecimal | | f={T}/word_stats.txt | role=stats
# A count that does not fit the 16-bit field.
non_numeric 1 | {f}: {NS}*r_cnt[768]: value 1 "0x10000" is out of range | | f={T}/wide_stats.txt | role=stats
non_numeric 1 | {f}: line 5: grid GradH_UX[24][31] does not hold 744 values | | f={T}/grid_diag.txt | role=view
non_numeric 2 | mirvo run: --width: 'wide' is not an integer | run --base {IN}/base.h --raw {IN}/raw_000.raw \
--width wide --height 384 --bits 10 --pattern RGGB --out-dir {O}
non_numeric 2 | mirvo stats: --black-level: 'x' is not a level | stats --raw {IN}/raw_000.raw {RAW} --black-level x \
--out {O}/s.txt
non_numeric 2 | mirvo run: --crop: 'a' is not a number | {RUN} --crop 1,2,a,4,5,6 --out-dir {O}
non_numeric 2 | mirvo table: --ct: 'warm' is not an integer | {IMPORT} warm --out {O}/i.h

# And the other names the program does not know.
unknown_pattern 2 | mirvo run: --pattern: unknown Bayer pattern '{p}' | run --base {IN}/base.h --raw {IN}/raw_000.raw \
--width 520 --height 384 --bits 10 --pattern {p} --out-dir {O} | *p=rggb XYZW RGGBX
unknown_pattern 2 | mirvo {c}: --pattern: unknown Bayer pattern '{p}' | {c} --raw {IN}/raw_000.raw --width 520 \
--height 384 --bits 10 --pattern {p} --out {O}/s.txt | *p=rggb XYZW RGGBX | *c=stats calibrate
unknown_pattern 2 | mirvo run: --pattern applies to --raw frames only | {RUN} --pattern RGGB --out-dir {O}
unknown_pattern 2 | mirvo run: unknown option --frobnicate | {RUN} --frobnicate
unknown_pattern 2 | mirvo: unknown command 'frobnicate' | frobnicate {IN}/base.h

directory 1 | {f}: is a directory, expected {what} | | f={IN} | *role=%(ROLES)s
# A directory where an output file belongs; the summaries are outputs too.
directory 1 | {x}: is a directory, cannot write a file there | {c} | x={O}/view | *c=%(ONE)s
directory 1 | {d}/{n}: is a directory, cannot write a file there | {RUN} --out-dir {d} | d={T}/taken_{n} \
| *n=table_000.h summary.json summary.csv
directory 1 | {d}/{n}: is a directory, cannot write a file there | demo --frames 1 --out-dir {d} | d={T}/taken_{n} \
| *n=base.h summary.json summary.csv

unwritable 1 | {IN}/base.h: cannot use as output directory: not a directory | {RUN} --out-dir {IN}/base.h
unwritable 1 | {d}: cannot create directory: Not a directory | {c} | d={IN}/base.h/sub | *c=%(DIRS)s
unwritable 1 | {x}: cannot create a file in {T}/nope: No such file or directory | {c} | x={T}/nope/x | *c=%(ONE)s
# Earlier outputs in a directory that has since become read-only: a
# read-only file system for root, permissions for anyone else.
unwritable 1 | {x}: cannot create a file in {R}: | {c} | x={R}/x | d={R} | *c=%(ONE)s;%(DIRS)s
unwritable 1 | {R}/report.html: cannot create a file in {R}: | report {R}

# The earlier run's table and pictures fit; then the disk is filled. The dump
# is written from the engine's thread, before the table.
full_disk 1 | {x}: cannot write | {c} | x={F}/x | d={F} | *c=%(ONE)s;%(DIRS)s
full_disk 1 | {F}/diag_000.txt: cannot write: No space left on device | run --base {IN}/base.h {RAWIN} --debug \
--out-dir {F}
full_disk 1 | {F}/m.raw: cannot write: No space left on device | stats {RAWIN} --out {T}/s.txt --mean-image {F}/m.raw \
| may={T}/s.txt

# Where an output belongs there is a link, a FIFO or a device node: refused
# before anything is written, the node left as it was.
special_output 1 | {x}: is {is} | {c} | x={S}/x | d={S} | *c=%(ONE)s;%(DIRS)s | *kind=%(KINDS)s
special_output 1 | {x}: is {is}; outputs are written only as regular files | {RUN} --debug --png --out-dir {S} \
| *x={S}/diag_000.txt {S}/tint_000.png {S}/summary.csv | *kind=%(KINDS)s
special_output 1 | {x}: is {is} | stats {RAWIN} --out {S}/s2.txt --mean-image {x} | x={S}/m.raw | *kind=%(KINDS)s
special_output 1 | {x}: is {is} | calibrate --raw {FLAT} --png --out {S}/c.h | x={S}/c_flat.png | *kind=%(KINDS)s
special_output 1 | {x}: is {is} | report {S} | x={S}/report.html | *kind=%(KINDS)s

# An input is never an output, and two outputs of a call are two files: by
# name, through a hard link, a symbolic link or a linked directory.
same_file 1 | {D}/table_000.h: is also the input {D}/{i} | run --base {D}/{i} --stats {IN}/stats_000.txt --out-dir {D} \
| *i=table_000.h hard.h soft.h
same_file 1 | {D}/summary.json: is also the input {D}/summary.json | run --base {D}/summary.json --stats \
{IN}/stats_000.txt --out-dir {D} --no-sync
same_file 1 | {T}/alias/table_000.h: is also the input {D}/table_000.h | run --base {D}/table_000.h --stats \
{IN}/stats_000.txt --out-dir {T}/alias
same_file 1 | {D}/table_000.h: is also the input {D}/table_000.h | table {D}/table_000.h --png {D}/t.png --sim \
{D}/table_000.h
same_file 1 | {D}/hard.h: is also the input {D}/table_000.h | table {D}/table_000.h --sim {D}/hard.h
same_file 1 | {D}/r.raw: is also the input {D}/r.raw | stats --raw {D}/r.raw {RAW} --out {D}/s.txt \
--mean-image {D}/r.raw
same_file 1 | {o}: is the same file as the output {D}/t.png | table {IN}/base.h --sim {D}/t.png --png {o} \
| *o={D}/t.png {T}/alias/sub/../t.png
same_file 1 | {D}/flat.raw: is also the input {D}/flat.raw | calibrate --raw {D}/flat.raw {RAW} --black-level 1024 \
--out {D}/flat.raw
same_file 1 | {D}/x_flat.png: is the same file as the output {D}/x_gains.png | calibrate --raw {FLAT} --png \
--out {D}/x.h
same_file 1 | {D}/a.h: is also the input {D}/a.h | learn --table {D}/a.h {C}/b.h --out {D}/a.h
same_file 1 | {D}/cal.json: is also the input {D}/cal.json | table --import {D}/cal.json --ct 5000 --out {D}/cal.json
same_file 1 | {D}/run/report.html: is also the input {D}/run/summary.json | report {D}/run
# A dump whose picture would be the dump itself.
same_file 1 | {D}/WX.png: is also the input {D}/WX.png | view {D}/WX.png --out-dir {D}

# A bad frame anywhere in the sequence fails the run before the first output
# is replaced ({O} holds frame 0 of stats_000, which stats_001 would change),
# also beyond the memory budget for dumps (here one byte), where every dump is
# checked in a first pass and loaded again as its frame comes.
all_inputs_first 1 | {b}: | run --base {IN}/base.h --stats {IN}/stats_001.txt {IN}/stats_000.txt {IN}/stats_002.txt \
{b} --debug --png --out-dir {O} | *b=%(BAD)s | *budget=1 1000000000
all_inputs_first 1 | {b}: | run --base {IN}/base.h --stats {IN}/stats_001.txt {b} {IN}/stats_002.txt --debug --png \
--out-dir {O} | *b=%(BAD)s | *budget=1 1000000000
all_inputs_first 2 | MIRVO_TEST_DUMP_BUDGET: '1e9' is not a number of bytes | {RUN} --out-dir {T}/b | budget=1e9
# calibrate, learn and run over raw frames: a bad last input, and nothing is written.
all_inputs_first 1 | {T}/cut.raw: raw frame of 1000 bytes | calibrate --raw {C}/flat.raw {C}/flat.raw {T}/cut.raw \
{RAW} --black-level 1024 --png --out {O}/c.h
all_inputs_first 1 | {T}/cut.h: | {LEARN} {T}/cut.h --out {O}/l.h
all_inputs_first 1 | {T}/cut.h: | {LEARN} --tuning {T}/cut.h --out {O}/l.h
all_inputs_first 1 | {T}/cut.raw: raw frame of 1000 bytes | run --base {IN}/base.h --raw {IN}/raw_001.raw \
{IN}/raw_000.raw {T}/cut.raw {RAW} --png --out-dir {O}

# Finite numbers far outside what they stand for are refused, naming the
# option or file, before any conversion (the sanitizer build checks that).
extreme_numbers 2 | mirvo run: --crop: | {RUN} --crop {v} --out-dir {O} | *v=1e-50,3024,0,0,4032,3024 \
1e30,3024,0,0,4032,3024 4032,3024,0,0,1e300,3024 4032,3024,-5,0,4032,3024 4032,3024,0,0,4032,0.5 \
4032,3024,2000,0,3000,3024
extreme_numbers 1 | {T}/gain_{v}.h: gain | run --base {T}/gain_{v}.h --stats {IN}/stats_000.txt --debug --png \
--out-dir {O} | *v=0.0 -1.5 1e-30 1e7 3e38
extreme_numbers 1 | {T}/learn_{v}.h: gain | learn --table {C}/a.h {T}/learn_{v}.h --out {O}/l.h \
| *v=0.0 -1.5 1e-30 1e7 3e38
extreme_numbers 1 | {T}/gr_{v}.h: gain | table {T}/gr_{v}.h --sim {O}/t.sim --png {O}/t.png | *v=1e7 -1.5 3e38
extreme_numbers 1 | {T}/zero.h: gain 0 of plane R at row 1, column 1 is outside 1e-06 to 1e+06 | run --base {T}/zero.h \
--stats {IN}/stats_000.txt --out-dir {O}
extreme_numbers 2 | mirvo calibrate: --luminance-strength: '{v}' is not a number from 0 to 1 | calibrate --raw {FLAT} \
--luminance-strength {v} --png --out {O}/c.h | *v=1e30 nan -1 inf 1e999 -nan 1e-320 1.5
extreme_numbers 2 | mirvo table: --ct: '{v}' is not an integer | {IMPORT} {v} --out {O}/i.h \
| *v=1e30 nan 1e999 2856.5 0x1000
extreme_numbers 2 | mirvo table: --ct: {v} is out of range (1000 to 100000) | {IMPORT} {v} --out {O}/i.h \
| *v=-1 0 999 100001 2147483648

# A full and a broken standard output (the JSON is longer than one stdio buffer).
closed_descriptors 1 | mirvo: cannot write to standard output: {why} | table {O}/i.h --json --sim {O}/t.sim \
| *stdout=full broken
""" % dict(ROLES=RAW_ROLES + " " + TEXT_ROLES, RAW=RAW_ROLES, TEXT=TEXT_ROLES, KINDS=" ".join(KIND), ONE=ONE, DIRS=DIRS,
           BAD="{T}/nope.txt {T}/empty {T}/cut_stats.txt {T}/word_stats.txt {IN}")


def rows():
    for line in TABLE.replace("\\\n", "").splitlines():
        if not line or line.startswith("#"):
            continue
        head, text, args, *rest = [f.strip() for f in line.split("|")]
        cls, status = head.split()
        axes = [[(k.lstrip("*"), v.strip()) for v in (vs.split(";" if ";" in vs else None) if k[0] == "*" else [vs])]
                for k, vs in (kv.split("=", 1) for kv in rest)]
        for combo in itertools.product(*axes):
            yield cls, int(status), text, args, dict(combo)


def place(kind, node):
    shutil.rmtree(P["S"], ignore_errors=True)
    os.makedirs(P["S"])
    shutil.copy(O + "/summary.json", P["S"])
    {"link": lambda: os.symlink(T + "/link_target", node), "dangling": lambda: os.symlink(T + "/nowhere", node),
     "fifo": lambda: os.mkfifo(node), "device": lambda: os.mknod(node, stat.S_IFCHR | 0o644, os.makedev(1, 3))}[kind]()


def attack(status, text, args, names):
    if "role" in names:
        names["what"], args = ROLE[names["role"]][0], args or ROLE[names["role"]][1]
    if " x=" in names.get("c", ""):  # a call and the name of its first output in {d}
        names["c"], x = names["c"].rsplit(" x=", 1)
        names["x"] = "{d}/" + x
    if "kind" in names:
        if names["kind"] == "device" and not ROOT:
            return
        names["is"] = KIND[names["kind"]]
        place(names["kind"], fmt(names["x"], names))
    stdout = None
    if names.get("stdout") == "full":
        stdout, names["why"] = open("/dev/full", "w"), "No space left on device"
    elif names.get("stdout") == "broken":
        broken, stdout = os.pipe()
        os.close(broken)
        names["why"] = "Broken pipe"
    env = {"MIRVO_TEST_DUMP_BUDGET": names["budget"]} if "budget" in names else None
    what = "mirvo " + fmt(args, names)
    before = snapshot()
    got, _, err, rss = mirvo(fmt(args, names), env, stdout=stdout)
    if got != status:
        fail(f"{what}: exit status {got}, expected {status}: {err[:300]}")
    if err.count("\n") != 1 or len(err) > 300:
        fail(f"{what}: expected one short line on stderr, got: {err[:600]}")
    for part in fmt(text, names).split("..."):
        if part not in err:
            fail(f"{what}: stderr lacks '{part}': {err[:300]}")
    if rss > 150000:
        fail(f"{what}: {rss} KB resident")
    after = snapshot()
    may = fmt(names.get("may", ""))  # a complete output written before the failing one
    after.pop(may, None), before.pop(may, None)
    if after != before:
        changed = sorted(k for k in before.keys() | after.keys() if before.get(k) != after.get(k))
        fail(f"{what}: changed or added {changed[:5]}")


def mount_tmpfs(path, size):
    os.makedirs(path, exist_ok=True)
    if subprocess.call(["mount", "-t", "tmpfs", "-o", "size=" + size, "tmpfs", path], stderr=subprocess.DEVNULL):
        print(f"SKIP: cannot mount a tmpfs at {path}")
        return False
    mounts.append(path)
    return True


def setup():
    """The bad files and the places of CLASS's rows."""
    base, tuning, stats = IN + "/base.h", IN + "/tuning.h", IN + "/stats_000.txt"
    first_r, first_gr = r"(?<=R Gain \*/\n\{\n)", r"(?<=GR Gain \*/\n\{\n)"  # the planes' first gains
    P["TL"] = read(tuning).count("\n") + 1
    put("empty", ""), shutil.copy(O + "/t.png", T + "/picture.png"), shutil.copy(O + "/diag_000.txt", T)
    put("mid.h", read(base)[:1000]), put("two_tables.h", read(base) + "/* R Gain */\n")
    put("mid_tuning.h", read(tuning)[:20000])
    put("cut_override.txt", "smooth_thd = 0.03\nlimit_t"), put("cut_stats.txt", read(stats)[:20000])
    put("cut.raw", read(IN + "/raw_000.raw")[:1000])
    put("cut_mipi.raw", read(IN + "/mipi_000.raw")[:-8]), put("cut_diag.txt", read(O + "/diag_000.txt")[:-1])
    put("short_diag.txt", "prj_u=\n0.5\n\nWX[2][2]=\n1 2 3"), put("cut.h", read(C + "/b.h")[:3000])
    put("cut.json", read(C + "/cal.json")[:300]), put("binary.json", '\xff\xfe{"sets": 1}')
    os.makedirs(T + "/sequence"), put("sequence/table_001.h", "earlier\n")
    put("other_keys.txt", "smoth_thd=0.05\n"), put("link_target", "target\n")
    derive("long_tuning.h", tuning, r"^\}(?!.*\n\})", "  0.5,\n}")
    derive("nul.h", base, first_r + r"(\d)\.", "\\1\0.")
    derive("nul_tuning.h", tuning, r"^  0\.05", "  0.05\0", count=0)
    derive("nul.txt", stats, r"^0x", "0x\0")
    put("comma.txt", "smooth_thd = 0,05\n")
    for section in "Version TuningParams BUL BgVHXY".split():
        put("twice_%s.h" % section, read(tuning) + "/* [%s] */\n" % section)
    put("empty_grid.txt", "\ng[2048][2048]=\n1 2 3\n"), put("beyond.txt", "\ng[1][99999999999]=\n1\n")
    put("thin.txt", "\ng[1][1000000]=\n" + " ".join(["\1"] * 1000000) + "\n")  # its picture: a million pixels wide
    derive("glued.h", base, first_r + "[0-9.]*f", "1.2x3f")
    derive("grid_word.h", tuning, r"(\[BUL\].*?\{ *)-?[0-9][0-9.e-]*", "\\1abc")
    derive("grid_range.h", tuning, r"(\[BVL\].*?)-0\.[0-9]*", "\\g<1>1e99")
    derive("value_word.h", tuning, r"^  0\.0500000007,", "  smooth,")
    put("word.txt", "smooth_thd = 0.05\nlimit_thd = abc\n")
    derive("word_stats.txt", stats, r"^((?:0x[0-9a-f]*\t){4})0x[0-9a-f]*\t", "\\1zz\t", count=0)
    derive("wide_stats.txt", stats, r"(^\*r_cnt.*?\n)0x[0-9a-f]*", "\\g<1>0x10000")
    put("grid_diag.txt", "prj_u=\n0.5\n\nGradH_UX[24][31]=\n1 2 x\n")
    for gain in "0.0 -1.5 1e-30 1e7 3e38".split():
        derive("gain_%s.h" % gain, base, first_r + "[0-9.]*f", gain + "f")
        derive("learn_%s.h" % gain, C + "/b.h", first_r + "[0-9.]*f", gain + "f")
        derive("gr_%s.h" % gain, base, first_gr + "[0-9.]*f", gain + "f")
    derive("zero.h", base, r"^[0-9.]*f", "0.0f", count=0)
    for name in "table_000.h summary.json summary.csv base.h".split():
        os.makedirs("%s/taken_%s/%s" % (T, name, name))
    if CLASS == "oversized":
        put("huge", ""), os.truncate(T + "/huge", 3 << 30)  # sparse: no disk, far beyond any such file
        for kind, text in [("deep", "[" * 100000 + "]" * 100000), ("wide", "[" + "[]," * 3000000 + "[]]"),
                           ("token", '{"format": "' + "x" * 100000)]:
            os.makedirs(T + "/" + kind), put(kind + "/summary.json", text), put(kind + "/report.html", "earlier")
    if CLASS == "unwritable":
        R = P["R"]
        if ROOT and not mount_tmpfs(R, "4m"):
            P["R"] = None
            return
        write_earlier(R)
        if ROOT:
            subprocess.check_call(["mount", "-o", "remount,ro", R])
        else:
            subprocess.check_call(["chmod", "-R", "a-w", R])
    if CLASS == "full_disk":
        F = P["F"]
        if not mount_tmpfs(T + "/full", "64k"):
            sys.exit(77)
        must("run --base {IN}/base.h --stats {IN}/stats_000.txt --png --out-dir {F}")
        subprocess.call(["dd", "if=/dev/zero", "of=" + T + "/full/filler", "bs=4k"], stderr=subprocess.DEVNULL)
        if os.statvfs(F).f_bavail:
            sys.exit("could not fill " + F)
    if CLASS == "same_file":
        D = P["D"]
        os.makedirs(D + "/run")
        for src, name in [(base, "table_000.h"), (IN + "/raw_000.raw", "r.raw"), (base, "summary.json"),
                          (C + "/flat.raw", "flat.raw"), (C + "/a.h", "a.h"), (C + "/cal.json", "cal.json"),
                          (O + "/summary.json", "run/summary.json")]:
            shutil.copy(src, D + "/" + name)
        put("same/x_gains.png", "picture\n"), put("same/WX.png", "prj_u=\n0.5\n\nWX[1][2]=\n1 2\n")
        for src, link in [("table_000.h", "hard.h"), ("x_gains.png", "x_flat.png"),
                          ("run/summary.json", "run/report.html")]:
            os.link(D + "/" + src, D + "/" + link)
        os.symlink(D + "/table_000.h", D + "/soft.h"), os.symlink(D, T + "/alias")


def checksums(d, skip="summary."):
    return {k[len(d):]: v for k, v in snapshot(d).items() if skip not in k}


def positive_checks():
    """What a class accepts: other outputs than the refusals."""
    if CLASS == "same_file":
        # Grids whose names give one file name get pictures of their own; one input twice is fine.
        put("names.txt", "prj_u=\n0.5\n\nWX[1][2]=\n1 2\n\nWX[2][1]=\n3 4\n\nWX_2[1][1]=\n5\n\nwx[1][1]=\n6\n\n"
            "W.X[1][1]=\n7\n")
        must("view {T}/names.txt --out-dir {T}/names")
        if len([n for n in os.listdir(T + "/names") if n.endswith(".png")]) != 5:
            fail("5 grids gave " + " ".join(os.listdir(T + "/names")))
        must("{RUN} {IN}/stats_000.txt --out-dir {T}/twice")
    if CLASS == "all_inputs_first":  # both ways of loading dumps give the same outputs
        for budget in ("1", "1000000000"):
            must("run --base {IN}/base.h --stats {IN}/stats_000.txt {IN}/stats_001.txt {IN}/stats_002.txt "
                 "{IN}/stats_000.txt --debug --png --out-dir {T}/budget_" + budget,
                 env={"MIRVO_TEST_DUMP_BUDGET": budget})
        if checksums(T + "/budget_1") != checksums(T + "/budget_1000000000"):
            fail("dumps loaded twice gave other outputs")
    if CLASS == "extreme_numbers":  # accepted where nothing converts them: drawn, summarised, applied
        derive("huge.h", IN + "/base.h", r"(?<=GR Gain \*/\n\{\n)[0-9.]*f", "3e38f")
        must("table {T}/huge.h --png {T}/huge.png")
        put("extreme_diag.txt", "prj_u=\n1e308\n\nWX[2][2]=\n1e308 -1e308 4.9e-324 0\n")
        must("view {T}/extreme_diag.txt --out-dir {T}/extreme_view")
        put("extreme_override.txt", "enable_temporal_filter=1e30\nfilter_input_stats=-1e30\nsmooth_thd=1e30\n")
        must("{RUN} --override {T}/extreme_override.txt --crop 65536,65536,0,0,1,1 --png --out-dir {T}/extreme_run")
    if CLASS == "closed_descriptors":
        closed_descriptors()


def closed_descriptors():
    """Started with stdin or stderr closed, the program writes its messages
    nowhere rather than into the files it opens first; with stdout closed it
    writes its files all the same and what it has to print ends the call with
    one line and status 1. Warnings for every frame, while the tables of
    earlier frames are being written."""
    calls = ["run --base {IN}/base.h --stats " + "{IN}/zero_counts.txt " * 12 + "{ST} --debug --png --out-dir run",
             "table {IN}/base.h --sim t.sim", "calibrate --raw {FLAT} --png --out c.h",
             "learn --table {C}/a.h {C}/b.h --out l.h", "table --import {C}/cal.json --ct 5000 --out i.h", "report rep"]
    closed = "mirvo: cannot write to standard output: it was closed when the program started"
    for fd in (None, 0, 1, 2):
        d = T + "/closed_%s" % fd
        os.makedirs(d + "/rep")
        shutil.copy(O + "/summary.json", d + "/rep")  # the report's page holds its summary's timing
        for args in calls:
            status, _, err, _ = mirvo(args, cwd=d, close=fd)
            if fd is None and (status or "warning" not in err and "zero_counts" in args):
                sys.exit(f"reference call {args} failed or gave no warning to lose: {err}")
            if status != (fd == 1) or fd == 1 and err.splitlines()[-1:] != [closed]:
                fail(f"descriptor {fd} closed: mirvo {args}: status {status}: {err[-300:]}")
        with open(d + "/i.json", "w") as f:  # to its own redirection
            mirvo("table i.h --json", cwd=d, close=None if fd == 1 else fd, stdout=f)
        if fd is not None and checksums(d) != checksums(T + "/closed_None"):
            fail(f"descriptor {fd} closed: outputs differ from the reference")
        if fd is not None and (mirvo("table {T}/nope.h --sim t2.sim", cwd=d, close=fd)[0] != 1
                               or os.path.exists(d + "/t2.sim")):
            fail(f"descriptor {fd} closed: a failure did not give status 1")


try:
    setup()
    if CLASS not in {r[0] for r in rows()}:
        sys.exit("unknown class " + CLASS)
    for cls, status, text, args, names in rows():
        if cls == CLASS and (P["R"] or "{R}" not in args):
            attack(status, text, args, names)
    positive_checks()
finally:
    for m in mounts:
        subprocess.call(["umount", m])
    subprocess.call(["chmod", "-R", "u+w", T])
    shutil.rmtree(T)
if failures:
    sys.exit(f"{len(failures)} failure(s)")
print("ok")
