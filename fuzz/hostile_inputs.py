#!/usr/bin/python3
"""hostile_inputs.py KVE [CALLS [SEED]]: damages what users hand over and shows it to check, prep and ped.

KVE is a checked build. A command must end with status 0, with 1 after findings, or with 3 and words, soon, and
without memory that the files do not warrant. What does not is printed, and its folder stays.
"""
import pathlib
import random
import shutil
import sys

from hostile import EXAMPLES, call, repeat

KVE = str(pathlib.Path(sys.argv[1]).resolve())
CALLS = int(sys.argv[2]) if len(sys.argv) > 2 else 1000
SEED = int(sys.argv[3]) if len(sys.argv) > 3 else 1
LINES = 200  # of a table; damage is the likelier to be met
WORDS = [b"0", b"-1", b"1", b"2147483647", b"-2147483648", b"99999999999999999999", b"1e400", b"nan", b"NA", b"-999", b"1,5",
         b"x" * 300, b'"', b"$MODEL", b"$DATA", b"$VAR_STR 1 PED 6 ASCII", b"/", b"#", b"\xff\xfe", b"\0", b"\r", b"\n", b"\t", b";", b""]


def cut_tables(folder):
    for file in folder.iterdir():
        if file.suffix in (".dat", ".ped", ".csv"):
            file.write_bytes(b"".join(file.read_bytes().splitlines(keepends=True)[:LINES]))


def make_cases(root):
    for name in ("binomial", "breeder", "dairy", "genomic", "groups", "weights"):
        shutil.copytree(EXAMPLES / name, root / name)
        if name != "genomic":
            cut_tables(root / name)
    return sorted(root.iterdir())


def damage(data):
    data = bytearray(data)
    for _ in range(random.choice((1, 1, 1, 2, 5, 20))):
        kind, at = random.randrange(7), random.randrange(len(data) + 1)
        if kind < 3:  # a word
            begin, end = at, at
            while begin > 0 and data[begin - 1] not in b" \t\n,;":
                begin -= 1
            while end < len(data) and data[end] not in b" \t\n,;":
                end += 1
            data[begin:end] = random.choice(WORDS)
        elif kind == 3:
            data[at:at] = bytes([random.randrange(256)])
        elif kind == 4:  # lines go, come twice or change their places
            lines = data.splitlines(keepends=True)
            if lines:
                taken = random.choice(lines)
                lines.insert(random.randrange(len(lines) + 1), taken)
                del lines[random.randrange(len(lines))]
            data = bytearray(b"".join(lines))
        elif kind == 5:
            del data[at:at + random.choice((1, 3, 20, 500))]
        else:
            data[at:] = random.choice((b"", b"", bytes(64), b"\xff" * 2000, b"1 " * 3000))
    return bytes(data)


def damage_and_call(cases):
    folder = random.choice(cases)
    inputs = [file for file in sorted(folder.iterdir()) if file.is_file() and file.suffix in
              (".kve", ".dat", ".ped", ".gen", ".typed", ".csv", ".toml", ".cor")]
    file = random.choice(inputs)
    if folder.name == "breeder":
        command = random.choice((["prep", "breeder.toml", "-o", "made"], ["prep", "--template", "weights.csv"],
                                 ["ped", "pedigree.csv", "-o", "made", "--fix", "--add-parents", "--stats"],
                                 ["ped", "pedigree.csv"]))
    else:
        directives = next(folder.glob("*.kve")).name
        command = ["check", directives] + random.choice(([], [], ["--json"], ["--fast"]))
    whole = file.read_bytes()
    file.write_bytes(damage(whole))
    ended = call(KVE, command, folder, (0, 1, 2) if command[0] != "check" else (0, 1))

    def restore():
        file.write_bytes(whole)
        shutil.rmtree(folder / "made", ignore_errors=True)

    return f"{file.name}, kve {' '.join(command)}", folder, ended, restore


repeat(CALLS, SEED, make_cases, damage_and_call)
