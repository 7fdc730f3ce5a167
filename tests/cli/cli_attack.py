#!/usr/bin/python3
# One class of bad input against every command it applies to:
#   cli_attack.py MIRVO MAKE_FIXTURES DATA_DIR CLASS
# Each row is one call that must end with its status (1: bad data or I/O, 2:
# usage) and one line on stderr holding the row's text ("..." separates parts
# that must all appear), within 20 s and 150 MB resident, and change nothing:
# every file under the test directory (earlier outputs, inputs, the bad files
# themselves, links and nodes) stays as it was, and nothing is added, not even
# a temporary file. Exit status 77: the class cannot be simulated here.
import hashlib, os, re, shlex, shutil, stat, subprocess, sys, tempfile, threading

MIRVO, FIXTURES, DATA = map(os.path.abspath, sys.argv[1:4])
CLASS = sys.argv[4]
T = tempfile.mkdtemp(prefix="mirvo_cli_test.")
IN, O, C = T + "/in", T + "/out", T + "/cal"
P = dict(T=T, IN=IN, O=O, C=C, RAW="--width 520 --height 384 --bits 10 --pattern RGGB")
P["FLAT"] = C + "/flat.raw " + P["RAW"] + " --black-level 1024"
ROOT = os.getuid() == 0
failures, mounts = [], []


def fail(what):
    failures.append(what)
    print("FAIL:", what, file=sys.stderr)


def mirvo(args, env=None, cwd=None, close=None, stdout=None):
    """Runs the program; returns its status, stdout, stderr and peak resident size in KB."""
    args = shlex.split(args.format(**P)) if isinstance(args, str) else args
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        p = subprocess.Popen([MIRVO] + args, stdin=subprocess.DEVNULL, stdout=stdout or out, stderr=err, cwd=cwd,
                             env=dict(os.environ, **(env or {})),
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
        sys.exit(f"setup failed: mirvo {args}: {r[2]}")
    return r


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


def attack(status, text, args, env=None, stdout=None, setup=None, may="", **names):
    if setup:
        setup()
    names = {k: v.format(**P) for k, v in names.items()}
    what = "mirvo " + args.format(**P, **names)
    before = snapshot()
    got, _, err, rss = mirvo(args.format(**P, **names), env, stdout=stdout)
    if got != status:
        fail(f"{what}: exit status {got}, expected {status}: {err[:300]}")
    if err.count("\n") != 1 or len(err) > 300:
        fail(f"{what}: expected one short line on stderr, got: {err[:600]}")
    for part in text.format(**P, **names).split("..."):
        if part not in err:
            fail(f"{what}: stderr lacks '{part}': {err[:300]}")
    if rss > 150000:
        fail(f"{what}: {rss} KB resident")
    after = snapshot()
    after.pop(may.format(**P), None), before.pop(may.format(**P), None)  # a complete output written before
    if after != before:
        changed = sorted(k for k in before.keys() | after.keys() if before.get(k) != after.get(k))
        fail(f"{what}: changed or added {changed[:5]}")


def read(path):
    return open(path.format(**P), "rb").read().decode("latin-1")


def put(name, text):
    with open(T + "/" + name, "wb") as f:
        f.write(text.encode("latin-1"))


def derive(name, src, pattern, repl, line=None, count=1):
    """NAME: SRC with PATTERN replaced on LINE (from 1), or COUNT times (0: all) in the whole text."""
    text = read(src)
    lines = text.split("\n")
    if line:
        lines[line - 1] = re.sub(pattern, repl, lines[line - 1], count=1)
    new = "\n".join(lines) if line else re.sub(pattern, repl, text, count=count, flags=re.M | re.S)
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
    must(f"run --base {{IN}}/base.h --stats {{IN}}/stats_000.txt --debug --png --out-dir {o}")
    must(f"stats --raw {{IN}}/raw_000.raw {{RAW}} --out {o}/s.txt --mean-image {o}/m.raw")
    must(f"table {{IN}}/base.h --sim {o}/t.sim --png {o}/t.png")
    must(f"view {o}/diag_000.txt --out-dir {o}/view")
    must(f"calibrate --raw {{FLAT}} --png --out {o}/c.h")
    must(f"learn --table {{C}}/a.h {{C}}/b.h --out {o}/l.h")
    must(f"table --import {{C}}/cal.json --ct 5000 --out {o}/i.h")
    must(f"report {o}")


write_earlier(O)

# Each input role: the call that reads it, every output aimed at the earlier ones.
ROLE = {
    "base": ("an LSC table header file", "run --base {f} --stats {IN}/stats_000.txt --debug --png --out-dir {O}"),
    "tuning": ("a tuning header file",
               "run --base {IN}/base.h --tuning {f} --stats {IN}/stats_000.txt --debug --png --out-dir {O}"),
    "override": ("an override map file",
                 "run --base {IN}/base.h --override {f} --stats {IN}/stats_000.txt --debug --png --out-dir {O}"),
    "stats": ("a statistics dump", "run --base {IN}/base.h --stats {f} --debug --png --out-dir {O}"),
    "table": ("an LSC table header file", "table {f} --sim {O}/t.sim --png {O}/t.png"),
    "view": ("a diagnostic dump", "view {f} --out-dir {O}/view"),
    "learn": ("an LSC table header file", "learn --table {C}/a.h {f} --out {O}/l.h"),
    "learn_tuning": ("a tuning header file", "learn --table {C}/a.h {C}/b.h --tuning {f} --out {O}/l.h"),
    "import": ("a JSON calibration", "table --import {f} --ct 5000 --out {O}/i.h"),
    "raw": ("a raw frame", "run --base {IN}/base.h --raw {f} {RAW} --debug --png --out-dir {O}"),
    "stats_raw": ("a raw frame", "stats --raw {f} {RAW} --out {O}/s.txt --mean-image {O}/m.raw"),
    "calibrate": ("a raw frame", "calibrate --raw {f} {RAW} --black-level 1024 --png --out {O}/c.h"),
}
RAW_ROLES = "raw stats_raw calibrate"
TEXT_ROLES = "base tuning override stats table view learn learn_tuning import"
ROLES = TEXT_ROLES + " " + RAW_ROLES
ROWS = []


def row(cls, status, text, args, **kw):
    ROWS.append((cls, status, text, args, kw))


def feed(cls, roles, f, text):
    for r in roles.split():
        row(cls, 1, text, ROLE[r][1], f=f, what=ROLE[r][0])


RUN = "run --base {IN}/base.h --stats {IN}/stats_000.txt"
feed("missing", ROLES, "{T}/nope", "{f}: cannot open {what}: No such file or directory")
row("missing", 1, "{T}/nope.txt: cannot open a statistics dump", RUN + " {T}/nope.txt --debug --png --out-dir {O}")
row("missing", 2, "mirvo run: missing --base", "run --stats {IN}/stats_000.txt --out-dir {O}")
row("missing", 2, "mirvo run: missing --out-dir", RUN)
row("missing", 2, "mirvo run: give one of --stats FILE..., --raw FILE... or --dng FILE...",
    "run --base {IN}/base.h --out-dir {O}")
row("missing", 2, "mirvo table: missing --out", "table --import {C}/cal.json --ct 5000")

feed("empty", ROLES, "{T}/empty", "{f}: is empty, expected {what}")
row("empty", 2, "mirvo: empty file name given for an LSC table header file", "table ''")
row("empty", 2, "mirvo run: --base needs a value", "run --base '' --stats {IN}/stats_000.txt --out-dir {O}")
row("empty", 2, "mirvo run: --out-dir needs a value", RUN + " --out-dir=")

# Cut in the middle, and inside the last number (which would read as a shorter one).
NOT_TABLE = "{f}: not a valid LSC table header file: "
feed("truncated", "base table learn", "{T}/mid.h", NOT_TABLE + "plane R")
feed("truncated", "base table", "{T}/end.h", NOT_TABLE + "plane B: file ends after value 221")
feed("truncated", "tuning learn_tuning", "{T}/mid_tuning.h", "{f}: not a valid tuning header file: ")
feed("truncated", "tuning", "{T}/end_tuning.h",
     "{f}: not a valid tuning header file: [BgVHXY]: file ends after value 1480")
feed("truncated", "override", "{T}/cut_override.txt", "{f}: line 2: \"limit_t\" is not a key=value line")
feed("truncated", "stats", "{T}/cut_stats.txt", "{f}: not a valid statistics dump: ")
feed("truncated", RAW_ROLES, "{T}/cut.raw", "{f}: raw frame of 1000 bytes, expected 399360 for 520x384 unpacked 16-bit")
row("truncated", 1, "{T}/cut_mipi.raw: raw frame of 251896 bytes, expected 251904 for 520x384 RAW10 MIPI",
    "stats --raw {T}/cut_mipi.raw {RAW} --mipi --out {O}/s.txt")
feed("truncated", "view", "{T}/cut_diag.txt", "{f}: line ")
feed("truncated", "view", "{T}/short_diag.txt", "{f}: line 5: truncated: grid values has no line end")
feed("truncated", "import", "{T}/cut.json", "{f}: not valid JSON")
row("truncated", 1, "{T}/short_diag.txt: line 5", "view {T}/short_diag.txt --out-dir {T}/new_view")
# A bad frame in the middle: no frame runs, not even those before it.
row("truncated", 1, "{T}/cut_stats.txt: not a valid statistics dump",
    RUN + " {T}/cut_stats.txt {IN}/stats_001.txt --out-dir {T}/sequence")

feed("oversized", TEXT_ROLES, "{T}/huge", "{f}: file of 3221225472 bytes is too large for {what} (at most")
feed("oversized", RAW_ROLES, "{T}/huge", "{f}: raw frame of 3221225472 bytes, expected 399360")
feed("oversized", "raw", "{T}/long.raw", "{f}: raw frame of 399361 bytes, expected 399360")
# More values than the format holds, which the library's readers would skip.
feed("oversized", "table", "{T}/two_tables.h", NOT_TABLE + "text after the B plane")
feed("oversized", "tuning", "{T}/long_tuning.h", "{f}: not a valid tuning header file: [BgVHXY]: more than 1480 values")
feed("oversized", "stats", "{T}/grid64.txt", "{f}: not a valid statistics dump: *r_sum[768]: more than 768 values")
row("oversized", 2, "mirvo stats: --bits: 16 is out of range (1 to 14)",
    "stats --raw {IN}/raw_000.raw --width 520 --height 384 --bits 16 --pattern RGGB --out {O}/s.txt")
row("oversized", 2, "mirvo run: frame of 60000x60000 pixels is too large",
    "run --base {IN}/base.h --raw {IN}/raw_000.raw --width 60000 --height 60000 --bits 10 --pattern RGGB --out-dir {O}")
# Summaries made to exhaust the JSON reader (100,000 levels of nesting, a
# tree 20 times the file's 9 MB, a token of 100 KB), within the memory bound.
row("oversized", 1, "{T}/deep/summary.json: JSON nested deeper than 64 levels", "report {T}/deep")
row("oversized", 1, "{T}/wide/summary.json: ...more than 16 times the file's size", "report {T}/wide")
row("oversized", 1, "{T}/token/summary.json: not valid JSON at byte", "report {T}/token")

feed("wrong_format", "base table learn", "{T}/picture.png", NOT_TABLE + "missing marker \"/* R Gain */\"")
feed("wrong_format", "base table", "{IN}/stats_000.txt", NOT_TABLE + "missing marker \"/* R Gain */\"")
feed("wrong_format", "base table learn", "{IN}/tuning.h", NOT_TABLE + "missing marker \"/* R Gain */\"")
feed("wrong_format", "tuning", "{T}/picture.png", "{f}: not a valid tuning header file: section [Version] not found")
feed("wrong_format", "tuning learn_tuning", "{IN}/base.h", "{f}: not a valid tuning header file: section [Version] not found")
feed("wrong_format", "stats", "{T}/picture.png", "{f}: not a valid statistics dump: section marker \"*r_sum[768]\" not found")
feed("wrong_format", "stats", "{IN}/base.h", "{f}: not a valid statistics dump: section marker \"*r_sum[768]\" not found")
feed("wrong_format", "override", "{T}/picture.png", "{f}: not a text file (control byte at offset 6)")
feed("wrong_format", "override", "{IN}/stats_000.txt",
     "{f}: line 2: \"******** Stats BG Tintle...\" is not a key=value line")
feed("wrong_format", "override", "{T}/diag_000.txt", "{f}: line 1: key or value missing in")
feed("wrong_format", "override", "{T}/other_keys.txt", "{f}: sets none of the known keys")
feed("wrong_format", "view", "{T}/picture.png", "{f}: line 1: expected a line 'key=', found '?PNG?'")
feed("wrong_format", "view", "{IN}/stats_000.txt", "{f}: line 2: expected a line 'key=', found '******** Stats")
feed("wrong_format", RAW_ROLES, "{IN}/stats_000.txt", "{f}: raw frame of 41450 bytes, expected 399360")
feed("wrong_format", "import", "{IN}/base.h", "{f}: not valid JSON")
feed("wrong_format", "import", "{T}/binary.json", "{f}: not valid JSON")
# The layouts mixed up.
feed("wrong_format", "raw", "{IN}/mipi_000.raw", "{f}: raw frame of 251904 bytes, expected 399360 for 520x384 unpacked")
row("wrong_format", 1, "{IN}/raw_000.raw: raw frame of 399360 bytes, expected 251904 for 520x384 RAW10 MIPI",
    "stats --raw {IN}/raw_000.raw {RAW} --mipi --out {O}/s.txt")
row("wrong_format", 2, "mirvo run: --grid: the engine takes only 32x24 statistics",
    "run --base {IN}/base.h --raw {IN}/raw_000.raw {RAW} --grid 16x12 --out-dir {O}")
row("wrong_format", 2, "mirvo calibrate: --grid: the measurement grid is fixed",
    "calibrate --raw {FLAT} --grid 32x24 --out {O}/c.h")
row("wrong_format", 2, "mirvo run: --crop: give six numbers", RUN + " --crop 1,2,3 --out-dir {O}")
row("wrong_format", 2, "mirvo learn: --reference: '{C}/cal.json' is not one of the --table files",
    "learn --table {C}/a.h {C}/b.h --reference {C}/cal.json --out {O}/l.h")

# Text the loaders would take without a word but wrongly: a NUL byte ends a C
# conversion early, a decimal comma reads as the number before it, and of a
# tuning section given twice only the first would count.
feed("silently_wrong", "base table learn", "{T}/nul.h", NOT_TABLE + "plane R: value 1 \"")
feed("silently_wrong", "tuning learn_tuning", "{T}/nul_tuning.h", "{f}: not a valid tuning header file: NUL byte on line ")
feed("silently_wrong", "stats", "{T}/nul.txt", "{f}: not a valid statistics dump: *r_sum[768]: value 1 \"0x?")
feed("silently_wrong", "override", "{T}/nul_override.txt", "{f}: not a text file (control byte at offset 16)")
feed("silently_wrong", "tuning", "{T}/comma_tuning.h", "{f}: not a valid tuning header file: [TuningParams]: "
     "smooth_thd line \"  0,0500000007, /* smoot...\" has a decimal comma")
feed("silently_wrong", "tuning", "{T}/grid_comma.h", "{f}: not a valid tuning header file: [BUL]: value 1 ")
feed("silently_wrong", "override", "{T}/comma.txt", "{f}: line 1: value \"0,05\" of smooth_thd is not a finite number")
feed("silently_wrong", "base learn", "{T}/comma.h", NOT_TABLE + "plane R: value 1 ")
for section in "Version TuningParams BUL BgVHXY".split():
    feed("silently_wrong", "tuning", "{T}/twice_%s.h" % section,
         "{f}: not a valid tuning header file: section [%s] appears twice (lines ... and {TL})" % section)

# Keys declare a grid's size; memory and pictures follow the values present.
feed("huge_declared", "view", "{T}/empty_grid.txt", "{f}: line 3: grid g[2048][2048] does not hold 4194304 values")
feed("huge_declared", "view", "{T}/beyond.txt", "{f}: line 2: grid key g[1][99999999999] does not end in [rows][cols]")
feed("huge_declared", "view", "{T}/thin.txt",
     "{f}: grid g[1][1000000] is too large to draw (at most 4096 rows or columns)")

feed("non_numeric", "base table learn", "{T}/glued.h", NOT_TABLE + "plane R: value 1 \"1.2x3f,\" is not a finite number")
feed("non_numeric", "base table", "{T}/nan.h", NOT_TABLE + "plane GR: value 1 \"nan,\" is not a finite number")
feed("non_numeric", "base table", "{T}/word.h", NOT_TABLE + "plane R: expected 221 numbers, found 0")
for f in "grid_word grid_range value_word value_glued".split():
    feed("non_numeric", "tuning", "{T}/%s.h" % f, "{f}: not a valid tuning header file: [")
feed("non_numeric", "learn_tuning", "{T}/value_word.h", "{f}: not a valid tuning header file: [")
feed("non_numeric", "override", "{T}/word.txt", "{f}: line 2: value \"abc\" of limit_thd is not a finite number")
feed("non_numeric", "override", "{T}/nan.txt", "{f}: line 1: value \"nan\" of smooth_thd is not a finite number")
feed("non_numeric", "stats", "{T}/word_stats.txt",
     "{f}: not a valid statistics dump: *r_sum[768]: token 5 \"zz\" is not a hexadecimal")
feed("non_numeric", "stats", "{T}/glued_stats.txt",
     "{f}: not a valid statistics dump: *r_sum[768]: value 7 \"0x12g\" is not a hexadecimal")
# A count that does not fit the 16-bit field.
feed("non_numeric", "stats", "{T}/wide_stats.txt",
     "{f}: not a valid statistics dump: *r_cnt[768]: value 1 \"0x10000\" is out of range")
feed("non_numeric", "view", "{T}/word_diag.txt", "{f}: line 2: value 'abc' of scalar prj_u is not a number")
feed("non_numeric", "view", "{T}/grid_diag.txt", "{f}: line 5: grid GradH_UX[24][31] does not hold 744 values")
row("non_numeric", 2, "mirvo run: --width: 'wide' is not an integer",
    "run --base {IN}/base.h --raw {IN}/raw_000.raw --width wide --height 384 --bits 10 --pattern RGGB --out-dir {O}")
row("non_numeric", 2, "mirvo stats: --black-level: 'x' is not a level",
    "stats --raw {IN}/raw_000.raw {RAW} --black-level x --out {O}/s.txt")
row("non_numeric", 2, "mirvo run: --crop: 'a' is not a number", RUN + " --crop 1,2,a,4,5,6 --out-dir {O}")
row("non_numeric", 2, "mirvo table: --ct: 'warm' is not an integer", "table --import {C}/cal.json --ct warm --out {O}/i.h")

# And the other names the program does not know.
for p in "rggb XYZW RGGBX".split():
    RAWP = "--raw {IN}/raw_000.raw --width 520 --height 384 --bits 10 --pattern " + p
    row("unknown_pattern", 2, f"mirvo run: --pattern: unknown Bayer pattern '{p}'",
        "run --base {IN}/base.h " + RAWP + " --out-dir {O}")
    row("unknown_pattern", 2, f"mirvo stats: --pattern: unknown Bayer pattern '{p}'", "stats " + RAWP + " --out {O}/s.txt")
    row("unknown_pattern", 2, f"mirvo calibrate: --pattern: unknown Bayer pattern '{p}'",
        "calibrate " + RAWP + " --out {O}/c.h")
row("unknown_pattern", 2, "mirvo run: --pattern applies to --raw frames only", RUN + " --pattern RGGB --out-dir {O}")
row("unknown_pattern", 2, "mirvo run: unknown option --frobnicate", RUN + " --frobnicate")
row("unknown_pattern", 2, "mirvo: unknown command 'frobnicate'", "frobnicate {IN}/base.h")

feed("directory", ROLES, "{IN}", "{f}: is a directory, expected {what}")
# A directory where an output file belongs; the summaries are outputs too.
DIR_OUT = "{d}: is a directory, cannot write a file there"
row("directory", 1, DIR_OUT, "stats --raw {IN}/raw_000.raw {RAW} --out {d}", d="{O}/view")
row("directory", 1, DIR_OUT, "table {IN}/base.h --png {d}", d="{O}/view")
row("directory", 1, DIR_OUT, "learn --table {C}/a.h {C}/b.h --out {d}", d="{O}/view")
for name in "table_000.h summary.json summary.csv".split():
    row("directory", 1, DIR_OUT, RUN + " --out-dir {T}/taken_" + name, d="{T}/taken_%s/%s" % (name, name))
for name in "base.h summary.json summary.csv".split():
    row("directory", 1, DIR_OUT, "demo --frames 1 --out-dir {T}/taken_" + name, d="{T}/taken_%s/%s" % (name, name))

row("unwritable", 1, "{IN}/base.h: cannot use as output directory: not a directory", RUN + " --out-dir {IN}/base.h")
row("unwritable", 1, "{IN}/base.h/sub: cannot create directory: Not a directory", RUN + " --out-dir {IN}/base.h/sub")
row("unwritable", 1, "{IN}/base.h/view: cannot create directory: Not a directory",
    "view {O}/diag_000.txt --out-dir {IN}/base.h/view")
NO_DIR = "{T}/nope/{f}: cannot create a file in {T}/nope: No such file or directory"
row("unwritable", 1, NO_DIR, "stats --raw {IN}/raw_000.raw {RAW} --out {T}/nope/{f}", f="s.txt")
row("unwritable", 1, NO_DIR, "table {IN}/base.h --sim {T}/nope/{f}", f="t.sim")
row("unwritable", 1, NO_DIR, "table --import {C}/cal.json --ct 5000 --out {T}/nope/{f}", f="i.h")
# Earlier outputs in a directory that has since become read-only: a
# read-only file system for root, permissions for anyone else.
READ_ONLY = "{R}/{f}: cannot create a file in {R}: "
row("unwritable", 1, READ_ONLY, "run --base {IN}/base.h --stats {IN}/stats_000.txt --debug --png --out-dir {R}",
    f="diag_000.txt")
row("unwritable", 1, READ_ONLY, "stats --raw {IN}/raw_000.raw {RAW} --out {R}/{f}", f="s.txt")
row("unwritable", 1, READ_ONLY, "table {IN}/base.h --sim {R}/{f}", f="t.sim")
row("unwritable", 1, READ_ONLY, "calibrate --raw {FLAT} --out {R}/{f}", f="c.h")
row("unwritable", 1, READ_ONLY, "learn --table {C}/a.h {C}/b.h --out {R}/{f}", f="l.h")
row("unwritable", 1, READ_ONLY, "table --import {C}/cal.json --ct 5000 --out {R}/{f}", f="i.h")
row("unwritable", 1, READ_ONLY, "report {R}", f="report.html")
row("unwritable", 1, "{R}/view/GradH_UX.png: cannot create a file in {R}/view: ", "view {R}/diag_000.txt --out-dir {R}/view")
row("unwritable", 1, "{R}/demo: cannot create directory: ", "demo --frames 1 --out-dir {R}/demo")

# The earlier run's table and pictures fit; then the disk is filled. The dump
# is written from the engine's thread, before the table.
FULL = "{F}/{f}: cannot write: No space left on device"
row("full_disk", 1, FULL, "run --base {IN}/base.h --stats {IN}/stats_000.txt --png --out-dir {F}", f="table_000.h")
row("full_disk", 1, FULL, "run --base {IN}/base.h --raw {IN}/raw_000.raw {RAW} --debug --out-dir {F}", f="diag_000.txt")
row("full_disk", 1, FULL, "stats --raw {IN}/raw_000.raw {RAW} --out {F}/{f}", f="s.txt")
row("full_disk", 1, FULL, "stats --raw {IN}/raw_000.raw {RAW} --out {T}/s.txt --mean-image {F}/{f}", f="m.raw",
    may="{T}/s.txt")
row("full_disk", 1, FULL, "table {IN}/base.h --sim {F}/{f}", f="t.sim")
row("full_disk", 1, FULL, "table {IN}/base.h --png {F}/{f}", f="t.png")
row("full_disk", 1, FULL, "view {O}/diag_000.txt --out-dir {F}", f="GradH_UX.png")
row("full_disk", 1, FULL, "demo --frames 1 --out-dir {F}", f="base.h")
row("full_disk", 1, FULL, "calibrate --raw {FLAT} --out {F}/{f}", f="c.h")
row("full_disk", 1, "{F}/l.h: cannot write", "learn --table {C}/a.h {C}/b.h --out {F}/l.h")
row("full_disk", 1, FULL, "table --import {C}/cal.json --ct 5000 --out {F}/{f}", f="i.h")

# Where an output belongs there is a link, a FIFO or a device node: refused
# before anything is written, the node left as it was.
S = T + "/special"
SPECIAL = {"run_table": ("table_000.h", RUN + " --debug --png --out-dir {S}"), "run_diag": ("diag_000.txt", None),
           "run_png": ("tint_000.png", None), "run_summary": ("summary.csv", None),
           "stats_out": ("s.txt", "stats --raw {IN}/raw_000.raw {RAW} --out {n} --mean-image {S}/m2.raw"),
           "stats_mean": ("m.raw", "stats --raw {IN}/raw_000.raw {RAW} --out {S}/s2.txt --mean-image {n}"),
           "table_sim": ("t.sim", "table {IN}/base.h --sim {n} --png {S}/t2.png"),
           "table_png": ("t.png", "table {IN}/base.h --sim {S}/t2.sim --png {n}"),
           "view": ("GradH_UX.png", "view {O}/diag_000.txt --out-dir {S}"), "demo": ("base.h", "demo --frames 1 --out-dir {S}"),
           "calibrate_out": ("c.h", "calibrate --raw {FLAT} --out {n}"),
           "calibrate_png": ("c_flat.png", "calibrate --raw {FLAT} --png --out {S}/c.h"),
           "learn_out": ("l.h", "learn --table {C}/a.h {C}/b.h --out {n}"),
           "import_out": ("i.h", "table --import {C}/cal.json --ct 5000 --out {n}"), "report": ("report.html", "report {S}")}


def place(kind, name):
    shutil.rmtree(S, ignore_errors=True)
    os.makedirs(S)
    shutil.copy(O + "/summary.json", S)
    node = S + "/" + name
    {"link": lambda: os.symlink(T + "/link_target", node), "dangling": lambda: os.symlink(T + "/nowhere", node),
     "fifo": lambda: os.mkfifo(node), "device": lambda: os.mknod(node, stat.S_IFCHR | 0o644, os.makedev(1, 3))}[kind]()


for kind, text in [("link", "a symbolic link"), ("dangling", "a symbolic link"), ("fifo", "a FIFO"),
                   ("device", "a character device")]:
    for role, (name, args) in SPECIAL.items():
        args = args or SPECIAL["run_table"][1]
        if kind == "device" and not ROOT:  # /dev/null stands for a node only where a file is named
            if "{n}" in args:
                row("special_output", 1, "/dev/null: is " + text, args, n="/dev/null", S=S)
            continue
        row("special_output", 1, "{n}: is " + text, args, n=S + "/" + name, S=S,
            setup=lambda kind=kind, name=name: place(kind, name))

# An input is never an output, and two outputs of a call are two files: by
# name, through a hard link, a symbolic link or a linked directory.
SAME, TWO = "{D}/{f}: is also the input {D}/{i}", "{o}: is the same file as the output {D}/{f}"
RUND = " --stats {IN}/stats_000.txt --out-dir {D}"
row("same_file", 1, SAME, "run --base {D}/table_000.h" + RUND, f="table_000.h", i="table_000.h")
row("same_file", 1, SAME, "run --base {D}/summary.json" + RUND + " --no-sync", f="summary.json", i="summary.json")
row("same_file", 1, SAME, "run --base {IN}/base.h --stats {D}/summary.csv --out-dir {D}", f="summary.csv", i="summary.csv")
row("same_file", 1, SAME, "run --base {D}/hard.h" + RUND, f="table_000.h", i="hard.h")
row("same_file", 1, SAME, "run --base {D}/soft.h" + RUND, f="table_000.h", i="soft.h")
row("same_file", 1, "{T}/alias/table_000.h: is also the input {D}/table_000.h",
    "run --base {D}/table_000.h --stats {IN}/stats_000.txt --out-dir {T}/alias")
row("same_file", 1, SAME, "run --base {IN}/base.h --override {D}/diag_000.txt --debug" + RUND, f="diag_000.txt",
    i="diag_000.txt")
row("same_file", 1, SAME, "run --base {IN}/base.h --stats {IN}/stats_000.txt {D}/table_001.h --out-dir {D} --png",
    f="table_001.h", i="table_001.h")
row("same_file", 1, SAME, "table {D}/table_000.h --png {D}/t.png --sim {D}/table_000.h", f="table_000.h", i="table_000.h")
row("same_file", 1, SAME, "table {D}/table_000.h --sim {D}/hard.h", f="hard.h", i="table_000.h")
row("same_file", 1, SAME, "stats --raw {D}/r.raw {RAW} --out {D}/s.txt --mean-image {D}/r.raw", f="r.raw", i="r.raw")
row("same_file", 1, TWO, "table {IN}/base.h --sim {D}/t.png --png {o}", f="t.png", o="{D}/t.png")
row("same_file", 1, TWO, "table {IN}/base.h --sim {D}/t.png --png {o}", f="t.png", o="{T}/alias/sub/../t.png")
row("same_file", 1, TWO, "stats --raw {IN}/raw_000.raw {RAW} --out {D}/table_000.h --mean-image {o}", f="table_000.h",
    o="{D}/./hard.h")
row("same_file", 1, SAME, "calibrate --raw {D}/flat.raw {RAW} --black-level 1024 --out {D}/flat.raw", f="flat.raw",
    i="flat.raw")
row("same_file", 1, TWO, "calibrate --raw {FLAT} --png --out {D}/x.h", f="x_gains.png", o="{D}/x_flat.png")
row("same_file", 1, SAME, "learn --table {D}/a.h {C}/b.h --out {D}/a.h", f="a.h", i="a.h")
row("same_file", 1, SAME, "learn --table {C}/a.h {D}/table_000.h --out {D}/hard.h", f="hard.h", i="table_000.h")
row("same_file", 1, SAME, "learn --table {C}/a.h {C}/b.h --tuning {D}/tuning.h --out {D}/tuning.h", f="tuning.h",
    i="tuning.h")
row("same_file", 1, SAME, "table --import {D}/cal.json --ct 5000 --out {D}/cal.json", f="cal.json", i="cal.json")
row("same_file", 1, SAME, "report {D}/run", f="run/report.html", i="run/summary.json")
# A dump whose picture would be the dump itself.
row("same_file", 1, SAME, "view {D}/WX.png --out-dir {D}", f="WX.png", i="WX.png")

# A bad frame anywhere in the sequence fails the run before the first output
# is replaced ($O holds frame 0 of stats_000, which stats_001 would change),
# also beyond the memory budget for dumps (here one byte), where every dump is
# checked in a first pass and loaded again as its frame comes.
for bad in "{T}/nope.txt {T}/empty {T}/cut_stats.txt {T}/word_stats.txt {IN}".split():
    for frames in ("{IN}/stats_001.txt {IN}/stats_000.txt {IN}/stats_002.txt " + bad,
                   "{IN}/stats_001.txt %s {IN}/stats_002.txt" % bad):
        for budget in ("1", "1000000000"):
            row("all_inputs_first", 1, bad + ": ",
                "run --base {IN}/base.h --stats " + frames + " --debug --png --out-dir {O}",
                env={"MIRVO_TEST_DUMP_BUDGET": budget})
row("all_inputs_first", 2, "MIRVO_TEST_DUMP_BUDGET: '1e9' is not a number of bytes", RUN + " --out-dir {T}/budget_bad",
    env={"MIRVO_TEST_DUMP_BUDGET": "1e9"})
# calibrate and learn: a bad last input, and nothing is written.
row("all_inputs_first", 1, "{T}/cut.raw: raw frame of 1000 bytes",
    "calibrate --raw {C}/flat.raw {C}/flat.raw {T}/cut.raw {RAW} --black-level 1024 --png --out {O}/c.h")
row("all_inputs_first", 1, "{T}/cut.h: ", "learn --table {C}/a.h {C}/b.h {T}/cut.h --out {O}/l.h")
row("all_inputs_first", 1, "{T}/cut.h: ", "learn --table {C}/a.h {C}/b.h --tuning {T}/cut.h --out {O}/l.h")
row("all_inputs_first", 1, "{T}/cut.raw: raw frame of 1000 bytes",
    "run --base {IN}/base.h --raw {IN}/raw_001.raw {IN}/raw_000.raw {T}/cut.raw {RAW} --png --out-dir {O}")

# Finite numbers far outside what they stand for are refused, naming the
# option or file, before any conversion (the sanitizer build checks that).
for crop in ("1e-50,3024,0,0,4032,3024 1e30,3024,0,0,4032,3024 4032,3024,0,0,1e300,3024 4032,3024,-5,0,4032,3024 "
             "4032,3024,0,0,4032,0.5 4032,3024,2000,0,3000,3024").split():
    row("extreme_numbers", 2, "mirvo run: --crop: ", RUN + " --crop " + crop + " --out-dir {O}")
for gain in "0.0 -1.5 1e-30 1e7 3e38".split():
    row("extreme_numbers", 1, "{T}/gain_%s.h: gain " % gain, RUN.replace("{IN}/base.h", "{T}/gain_%s.h" % gain) +
        " --debug --png --out-dir {O}")
    row("extreme_numbers", 1, "{T}/learn_%s.h: gain " % gain, "learn --table {C}/a.h {T}/learn_%s.h --out {O}/l.h" % gain)
for gain in "1e7 -1.5 3e38".split():
    row("extreme_numbers", 1, "{T}/gr_%s.h: gain " % gain, "table {T}/gr_%s.h --sim {O}/t.sim --png {O}/t.png" % gain)
row("extreme_numbers", 1, "{T}/zero.h: gain 0 of plane R at row 1, column 1 is outside 1e-06 to 1e+06",
    RUN.replace("{IN}/base.h", "{T}/zero.h") + " --out-dir {O}")
for v in "1e30 nan -1 inf 1e999 -nan 1e-320 1.5".split():
    row("extreme_numbers", 2, f"mirvo calibrate: --luminance-strength: '{v}' is not a number from 0 to 1",
        "calibrate --raw {FLAT} --luminance-strength " + v + " --png --out {O}/c.h")
for v in "1e30 nan 1e999 2856.5 0x1000".split():
    row("extreme_numbers", 2, f"mirvo table: --ct: '{v}' is not an integer",
        "table --import {C}/cal.json --ct " + v + " --out {O}/i.h")
for v in "-1 0 999 100001 2147483648".split():
    row("extreme_numbers", 2, f"mirvo table: --ct: {v} is out of range (1000 to 100000)",
        "table --import {C}/cal.json --ct " + v + " --out {O}/i.h")

# A full and a broken standard output (the JSON is longer than one stdio buffer).
TO_STDOUT = "table {O}/i.h --json --sim {O}/t.sim"
row("closed_descriptors", 1, "mirvo: cannot write to standard output: No space left on device", TO_STDOUT,
    stdout=open("/dev/full", "w"))
broken_r, broken_w = os.pipe()
os.close(broken_r)
row("closed_descriptors", 1, "mirvo: cannot write to standard output: Broken pipe", TO_STDOUT, stdout=broken_w)


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
    P["TL"] = read(tuning).count("\n") + 1
    put("empty", ""), shutil.copy(O + "/t.png", T + "/picture.png"), shutil.copy(O + "/diag_000.txt", T)
    put("mid.h", read(base)[:1000]), put("end.h", read(base)[:-6]), put("two_tables.h", read(base) + "/* R Gain */\n")
    put("mid_tuning.h", read(tuning)[:20000]), put("end_tuning.h", read(tuning)[:-8])
    put("cut_override.txt", "smooth_thd = 0.03\nlimit_t"), put("cut_stats.txt", read(stats)[:20000])
    put("cut.raw", read(IN + "/raw_000.raw")[:1000]), put("long.raw", read(IN + "/raw_000.raw") + "x")
    put("cut_mipi.raw", read(IN + "/mipi_000.raw")[:-8]), put("cut_diag.txt", read(O + "/diag_000.txt")[:-1])
    put("short_diag.txt", "prj_u=\n0.5\n\nWX[2][2]=\n1 2 3"), put("cut.h", read(C + "/b.h")[:3000])
    put("cut.json", read(C + "/cal.json")[:300]), put("binary.json", '\xff\xfe{"sets": 1}')
    os.makedirs(T + "/sequence"), put("sequence/table_001.h", "earlier\n")
    put("other_keys.txt", "smoth_thd=0.05\n"), put("link_target", "target\n")
    derive("long_tuning.h", tuning, r"^\}(?!.*\n\})", "  0.5,\n}")
    derive("nul.h", base, r"^(\d)\.", "\\1\0.", line=3)
    derive("nul_tuning.h", tuning, r"^  0\.05", "  0.05\0", count=0)
    derive("nul.txt", stats, r"^0x", "0x\0")
    put("nul_override.txt", "smooth_thd = 0.0\x005\n")
    derive("comma_tuning.h", tuning, r"^  0\.0500000007,", "  0,0500000007,")
    derive("grid_comma.h", tuning, r"(\[BUL\].*?\{ *-?[0-9][^.\n]*)\.", "\\1,")
    put("comma.txt", "smooth_thd = 0,05\n")
    derive("comma.h", base, r"^(\d)\.", "\\1,", line=3)
    for section in "Version TuningParams BUL BgVHXY".split():
        put("twice_%s.h" % section, read(tuning) + "/* [%s] */\n" % section)
    put("empty_grid.txt", "\ng[2048][2048]=\n1 2 3\n"), put("beyond.txt", "\ng[1][99999999999]=\n1\n")
    put("thin.txt", "\ng[1][1000000]=\n" + " ".join(["\1"] * 1000000) + "\n")  # its picture: a million pixels wide
    derive("glued.h", base, r"^[0-9.]*f", "1.2x3f", line=3)
    derive("nan.h", base, r"^[0-9.]*f", "nan", line=19)
    derive("word.h", base, r"^[0-9.]*f", "abc", line=3)
    derive("grid_word.h", tuning, r"(\[BUL\].*?\{ *)-?[0-9][0-9.e-]*", "\\1abc")
    derive("grid_range.h", tuning, r"(\[BVL\].*?)-0\.[0-9]*", "\\g<1>1e99")
    derive("value_word.h", tuning, r"^  0\.0500000007,", "  smooth,")
    derive("value_glued.h", tuning, r"^  0\.0500000007,", "  0.05x,")
    put("word.txt", "smooth_thd = 0.05\nlimit_thd = abc\n"), put("nan.txt", "smooth_thd = nan\n")
    derive("word_stats.txt", stats, r"^((?:0x[0-9a-f]*\t){4})0x[0-9a-f]*\t", "\\1zz\t", count=0)
    derive("glued_stats.txt", stats, r"^((?:0x[0-9a-f]*\t){6})0x[0-9a-f]*\t", "\\g<1>0x12g\t", count=0)
    derive("wide_stats.txt", stats, r"(^\*r_cnt.*?\n)0x[0-9a-f]*", "\\g<1>0x10000")
    put("word_diag.txt", "prj_u=\nabc\n"), put("grid_diag.txt", "prj_u=\n0.5\n\nGradH_UX[24][31]=\n1 2 x\n")
    for gain in "0.0 -1.5 1e-30 1e7 3e38".split():
        derive("gain_%s.h" % gain, base, r"^[0-9.]*f", gain + "f", line=3)
        derive("learn_%s.h" % gain, C + "/b.h", r"^[0-9.]*f", gain + "f", line=3)
        derive("gr_%s.h" % gain, base, r"^[0-9.]*f", gain + "f", line=19)
    derive("zero.h", base, r"^[0-9.]*f", "0.0f", count=0)
    for name in "table_000.h summary.json summary.csv base.h".split():
        os.makedirs("%s/taken_%s/%s" % (T, name, name))
    if CLASS == "oversized":
        put("huge", ""), os.truncate(T + "/huge", 3 << 30)  # sparse: no disk, far beyond any such file
        must("stats --raw {IN}/raw_000.raw {RAW} --grid 64x48 --out {T}/grid64.txt")
        for kind, text in [("deep", "[" * 100000 + "]" * 100000), ("wide", "[" + "[]," * 3000000 + "[]]"),
                           ("token", '{"format": "' + "x" * 100000)]:
            os.makedirs(T + "/" + kind), put(kind + "/summary.json", text), put(kind + "/report.html", "earlier")
    if CLASS == "unwritable":
        R = P["R"] = T + "/readonly"
        if ROOT and not mount_tmpfs(R, "4m"):
            ROWS[:] = [r for r in ROWS if "{R}" not in r[3]]
            return
        write_earlier(R)
        if ROOT:
            subprocess.check_call(["mount", "-o", "remount,ro", R])
        else:
            subprocess.check_call(["chmod", "-R", "a-w", R])
    if CLASS == "full_disk":
        F = P["F"] = T + "/full/out"
        if not mount_tmpfs(T + "/full", "64k"):
            sys.exit(77)
        must("run --base {IN}/base.h --stats {IN}/stats_000.txt --png --out-dir {F}")
        subprocess.call(["dd", "if=/dev/zero", "of=" + T + "/full/filler", "bs=4k"], stderr=subprocess.DEVNULL)
        if os.statvfs(F).f_bavail:
            sys.exit("could not fill " + F)
    if CLASS == "same_file":
        D = P["D"] = T + "/same"
        os.makedirs(D + "/run")
        for src, name in [(base, "table_000.h"), (stats, "table_001.h"), (O + "/diag_000.txt", "diag_000.txt"),
                          (IN + "/raw_000.raw", "r.raw"), (base, "summary.json"), (stats, "summary.csv"),
                          (C + "/flat.raw", "flat.raw"), (C + "/a.h", "a.h"), (C + "/cal.json", "cal.json"),
                          (tuning, "tuning.h"), (O + "/summary.json", "run/summary.json")]:
            shutil.copy(src, D + "/" + name)
        put("same/x_gains.png", "picture\n"), put("same/WX.png", "prj_u=\n0.5\n\nWX[1][2]=\n1 2\n")
        for src, link in [("table_000.h", "hard.h"), ("x_gains.png", "x_flat.png"), ("run/summary.json", "run/report.html")]:
            os.link(D + "/" + src, D + "/" + link)
        os.symlink(D + "/table_000.h", D + "/soft.h"), os.symlink(D, T + "/alias")


def checksums(d, skip="summary."):
    return {k[len(d):]: v for k, v in snapshot(d).items() if skip not in k}


def positive_checks():
    """What a class accepts: other outputs than the refusals."""
    if CLASS == "same_file":
        # Grids whose names give one file name get pictures of their own; one input twice is fine.
        put("names.txt", "prj_u=\n0.5\n\nWX[1][2]=\n1 2\n\nWX[2][1]=\n3 4\n\nWX_2[1][1]=\n5\n\nwx[1][1]=\n6\n\nW.X[1][1]=\n7\n")
        must("view {T}/names.txt --out-dir {T}/names")
        if len([n for n in os.listdir(T + "/names") if n.endswith(".png")]) != 5:
            fail("5 grids gave " + " ".join(os.listdir(T + "/names")))
        must(RUN + " {IN}/stats_000.txt --out-dir {T}/twice")
    if CLASS == "all_inputs_first":  # both ways of loading dumps give the same outputs
        for budget in ("1", "1000000000"):
            must("run --base {IN}/base.h --stats {IN}/stats_000.txt {IN}/stats_001.txt {IN}/stats_002.txt "
                 "{IN}/stats_000.txt --debug --png --out-dir {T}/budget_" + budget, env={"MIRVO_TEST_DUMP_BUDGET": budget})
        if checksums(T + "/budget_1") != checksums(T + "/budget_1000000000"):
            fail("dumps loaded twice gave other outputs")
    if CLASS == "extreme_numbers":  # accepted where nothing converts them: drawn, summarised, applied
        derive("huge.h", IN + "/base.h", r"^[0-9.]*f", "3e38f", line=19)
        must("table {T}/huge.h --png {T}/huge.png")
        put("extreme_diag.txt", "prj_u=\n1e308\n\nWX[2][2]=\n1e308 -1e308 4.9e-324 0\n")
        must("view {T}/extreme_diag.txt --out-dir {T}/extreme_view")
        put("extreme_override.txt", "enable_temporal_filter=1e30\nfilter_input_stats=-1e30\nsmooth_thd=1e30\n")
        must(RUN + " --override {T}/extreme_override.txt --crop 65536,65536,0,0,1,1 --png --out-dir {T}/extreme_run")
    if CLASS == "closed_descriptors":
        closed_descriptors()


def closed_descriptors():
    """Started with stdin or stderr closed, the program writes its messages
    nowhere rather than into the files it opens first; with stdout closed it
    writes its files all the same and what it has to print ends the call with
    one line and status 1. Warnings for every frame, while the tables of
    earlier frames are being written."""
    calls = ["run --base {IN}/base.h --stats " + "{IN}/zero_counts.txt " * 12 + "{IN}/stats_000.txt --debug --png --out-dir run",
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
    for cls, status, text, args, kw in ROWS:
        if cls == CLASS:
            attack(status, text, args, **kw)
    if CLASS not in {r[0] for r in ROWS}:
        sys.exit("unknown class " + CLASS)
    positive_checks()
finally:
    for m in mounts:
        subprocess.call(["umount", m])
    subprocess.call(["chmod", "-R", "u+w", T])
    shutil.rmtree(T)
if failures:
    sys.exit(f"{len(failures)} failure(s)")
print("ok")
