#!/usr/bin/env python3
"""show_animal.py IDENTITY: what the output files of a run in this folder hold of one animal.

The files are described in docs/files.md. Small pedigrees only: every file is read whole.
"""
import struct
import sys


def records(name):
    with open(name, "rb") as file:
        while length := file.read(4):
            yield file.read(struct.unpack("i", length)[0])
            file.read(4)


# CODE_TABLE holds the levels of other effects too; an animal is a record of 13 integers.
animals = [struct.unpack("13i", r) for r in records("CODE_TABLE") if len(r) == 52]
identity = int(sys.argv[1])
animal = next((a for a in animals if a[1] == identity), None)
if animal is None:
    sys.exit(f"There is no animal {identity} in CODE_TABLE")
by_level = {a[3]: a[1] for a in animals}
level = animal[3]
print(f"animal {identity}  level {level}  sort variable {animal[4]}  "
      f"records {animal[2]}  progeny {animal[12]}")

pairs = struct.unpack(f"{2 * len(animals)}i", next(records("PEDFILE1")))
for name, parent in zip(("sire", "dam"), pairs[2 * level - 2:2 * level]):
    print(f"{name:<4}   level {parent:6d}  {by_level[abs(parent)] if parent else 'unknown'}")

with open("INBREED") as file:
    line = next(line for line in file if int(line[1:12]) == identity)
print(f"inbreeding coefficient {float(line[64:78]) - 1:.4f}")

print("elements of A inverse: level, identity, element")
for row in records("AINV1"):
    column, row, element = struct.unpack("iid", row)
    if level in (row, column):
        other = row + column - level
        print(f"{other:6d} {by_level[other]:8d} {element:12.6f}")
