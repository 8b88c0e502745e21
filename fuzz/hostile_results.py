#!/usr/bin/python3
"""hostile_results.py KVE1 KVE [CALLS [SEED]]: damages files of runs and shows them to commands of kve.

KVE is a checked build. A command must end with status 0, 1 or 3, with words when it is 3, soon, and without
memory that the files do not warrant. What does not is printed, and its folder stays.
"""
import os
import pathlib
import random
import shutil
import struct
import subprocess
import sys

from hostile import EXAMPLES, call, repeat

KVE1, KVE = (str(pathlib.Path(program).resolve()) for program in sys.argv[1:3])
CALLS = int(sys.argv[3]) if len(sys.argv) > 3 else 1000
SEED = int(sys.argv[4]) if len(sys.argv) > 4 else 1
NUMBERS = [-2**31, -2**31 + 1, -1000, -7, -1, 0, 1, 2, 3, 6, 7, 8, 16, 77, 255, 10**6, 10**8, 2**31 - 2, 2**31 - 1]
COMMANDS = [["summary"], ["summary", "--json"], ["levels"], ["levels", "--ids"], ["records"], ["records", "--original"],
            ["records", "--ids", "--missing", "-9"], ["verify"], ["report", "-o", "page"], ["report", "--ids", "-o", "page"]]
TEXTS = [b"", b"no file of records\n", b"\xff" * 1000, b"WARNING " * 300, b"1KVE1V6\n" * 50, b'"' * 99, bytes(64),
         struct.pack("<iii", 4, 1, 4), struct.pack("<i", 2**31 - 1)]

# Every type of a random factor, residual groups, a covariable, a date as sort variable.
ALL_TYPES = """$ANALYSE 2 0 0 0
$DATA ASCII (5,3,-9.0) data
$VARIABLE
HERD LINE BREED COW GROUP AGE MILK FAT
$MODEL
2 2 0 0 0
0
0
2 0 6 1 2 3 4 4 4
3 0 2 1 4
5 1 2 3 4 5
1 3
1 1
0
0
$VAR_STR 1 COR ASCII lines
$VAR_STR 2 GREL ASCII breeds
$VAR_STR 3 {}
$VAR_STR 4 DOM 3 ASCII cows
$VAR_STR 5 ABS_QTL 3 ASCII cows
$VAR_STR 6 GROUP 5
$PRIOR
1 1 1 1
2 1 1 1
3 1 1 1
3 2 2 1
4 1 1 1
5 1 1 1
6 1 1 1
6 2 2 1
"""


def make_small_run(folder, animals):
    rows = [(70 - 10 * (n % 3), 5 + n % 2, 300 - n % 3, 900 + n % 8, 4 if n < 20 else 2, 20.5 + n, 5000.25 + n,
             -9 if n % 5 == 0 else 200 + n) for n in range(40)]
    pedigree = [(101, 0, 0, 20010101), (102, 0, 0, 20020101)]
    pedigree += [(900 + n, 101 + n % 2, 0 if n < 2 else 900, 20050101 + 10000 * n) for n in range(8)]
    files = {"data": rows, "ped": pedigree, "lines": [(5, 5, 1.5), (6, 6, 1.5), (6, 5, -.1)],
             "breeds": [(298, 298, 3), (299, 299, 3), (300, 300, 3), (300, 298, 1e-9)],
             "cows": [(900 + n, 900 + n, 2) for n in range(8)] + [(907, 900, .125)], "typed": [(101,), (102,)],
             "genomic": [(101, 101, 2), (102, 102, 4)]}
    folder.mkdir()
    for name, lines in files.items():
        (folder / name).write_text("".join(" ".join(map(str, line)) + "\n" for line in lines))
    (folder / "directives").write_text(ALL_TYPES.format(animals))
    (folder / "ids.tsv").write_text("identity\tcode\nBella\t900\n\"Ida\t2\"\t901\n")
    (folder / "classes.tsv").write_text("column\tname\tcode\nHERD\tHill\t50\nHERD\tMoor\t60\n")
    run(folder, "directives")


def run(folder, directives):
    with open(folder / directives) as given, open(folder / "listing", "w") as listing:
        subprocess.run([KVE1], stdin=given, stdout=listing, cwd=folder, check=True)


def make_runs(root):
    for name, animals in (("ped", "PED 1 ASCII ped"), ("ram", "PED 2 RAM ASCII ped"),
                          ("blended", "PGMIX 1 ASCII ped typed genomic")):
        make_small_run(root / name, animals)
    for name, directives in (("groups", "sheep.kve"), ("weights", "weights.kve"), ("binomial", "hatching.kve")):
        shutil.copytree(EXAMPLES / name, root / name)
        run(root / name, directives)
    return sorted(root.iterdir())


def is_of_kve(name):
    return (name.isupper() and "." not in name) or name in ("listing", "ids.tsv", "classes.tsv")


def damage(data, others):
    data = bytearray(data)
    for _ in range(random.choice((1, 1, 1, 2, 5))):
        kind = random.randrange(9)
        at = random.randrange(len(data) + 1)
        if kind < 4 and len(data) >= 4:  # a word
            at = min(at // 4 * 4, len(data) - 4)
            data[at:at + 4] = struct.pack("<i", random.choice(NUMBERS))
        elif kind == 4 and data:
            data[at % len(data)] = random.randrange(256)
        elif kind == 5:
            del data[at:]
        elif kind == 6:
            del data[at:at + random.choice((1, 4, 24, 100))]
        elif kind == 7:
            data[at:at] = random.choice(TEXTS)
        else:
            data = bytearray(random.choice(TEXTS + others))
    return bytes(data)


def write(file, data):
    file.write_bytes(data)
    if file.name == "ids.tsv":  # never newer than the run, of which kve would speak
        os.utime(file, (0, 0))


def damage_and_call(runs):
    folder = random.choice(runs)
    names = [name for name in sorted(os.listdir(folder)) if is_of_kve(name)]
    matrices = [["matrix", name] + more for name in names if name.rstrip("0123456789") in
                ("AINV", "AINV_RAM", "PGMIX", "COR", "DOM", "IBD", "GINV")
                for more in ([], ["--summary"], ["--original"], ["--ids"])]
    command = random.choice(matrices if matrices and random.random() < .25 else COMMANDS)
    if command[0] == "matrix" and random.random() < .5:
        names = [command[1], "MODINF", "CODE_TABLE"]
    name = random.choice(names + ["MODINF"] * 6 + ["CODE_TABLE"] * 3)
    whole = (folder / name).read_bytes()
    write(folder / name, damage(whole, [(folder / other).read_bytes() for other in names]))
    ended = call(KVE, [command[0], str(folder)] + command[1:], folder, (0, 1) if command[0] == "verify" else (0,))
    return f"{name}, kve {' '.join(command)}", folder, ended, lambda: write(folder / name, whole)


repeat(CALLS, SEED, make_runs, damage_and_call)
