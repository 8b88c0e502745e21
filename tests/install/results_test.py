#!/usr/bin/python3
"""results_test.py sh|python|r SOURCE KVE1 KVE: the lines of docs/results.md, run as they stand there, and
what they give against the example's own files. Status 77 where the language or a library is missing."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

language, source, kve1, kve = sys.argv[1], *map(pathlib.Path, sys.argv[2:])
text = (source / "docs/results.md").read_text()
blocks = {name: "\n".join(re.findall(rf"^```{name}\n(.*?)^```", text, re.M | re.S))
          for name in ("sh", "python", "r")}


def skip(words):
    print(words)
    sys.exit(77)


# The dairy example as its own files tell it: the relationships by the tabular method, from parents to
# progeny, and sums of the records.
def recount():
    import numpy as np
    lines = [tuple(map(int, line.split())) for line in open("out/dairy/dairy.ped")]
    data = [line.split() for line in open("out/dairy/dairy.dat")]
    unknown = {int(r[0]) for r in data} - {line[0] for line in lines}
    animals = [(animal, 0, 0) for animal in sorted(unknown)]
    animals += [line[:3] for line in sorted(lines, key=lambda line: line[3])]
    place = {animal: i for i, (animal, *_) in enumerate(animals)}
    a = np.zeros((len(animals), len(animals)))
    for i, (_, sire, dam) in enumerate(animals):
        for parent in (sire, dam):
            if parent:
                a[i, :i] += a[place[parent], :i] / 2
        a[:i, i] = a[i, :i]
        a[i, i] = 1 + (a[place[sire], place[dam]] / 2 if sire and dam else 0)
    return place, a, data


def check_python(found):
    import numpy as np
    place, a, data = recount()
    animals, records = found["animals"], found["records"]
    order = [place[identity] for identity in animals["identity"]]
    a = a[np.ix_(order, order)]
    assert list(animals.index) == list(range(1, len(a) + 1))
    assert abs(found["ainv"] @ a - np.eye(len(a))).max() < 1e-8
    assert abs(animals["inbreeding"] + 1 - np.diag(a)).max() < 1e-4
    first = found["relatives"].iloc[0]
    assert first["identity"] == 402493
    own = a[found["level_of"][402493] - 1]
    assert np.allclose(found["relatives"]["relationship"], sorted(own)[:-11:-1])
    assert len(records) == len(data)
    wanted = np.array([[float(r[k]) for k in (1, 2, 0, 3, 4)] for r in data])
    assert np.allclose(records[["MILK:HERDYEAR", "MILK:LACT", "1:COW", "AGE", "MILK"]], wanted)
    assert records["PROTEIN"].isna().sum() == sum(float(r[5]) <= -999 for r in data)
    counts = [sum(int(r[0]) == identity for r in data) for identity in animals["identity"][-20:]]
    assert list(found["z"].sum(axis=0).A1[-20:]) == counts
    assert abs(found["lhs"] - 2.5 * found["ainv"] - found["z"].T @ found["z"]).max() < 1e-9


# What R found is what Python finds with the other library.
R_CHECK = """
stopifnot(nrow(ainv) == nrow(animals), relatives$identity[1] == 402493)
stopifnot(max(abs(ainv %*% animals$relationship - unit)) < 1e-10)
stopifnot(records[, sum(MILK)] == sum(read.table("out/dairy/dairy.dat")[5]))
stopifnot(all(animals$identity[coded$`1:COW`] == read.table("out/dairy/dairy.dat")[[1]]))
stopifnot(max(abs(Matrix::diag(lhs) - 2.5 * Matrix::diag(ainv) - animals$observations)) < 1e-9)
write.csv(relatives[, .(identity, relationship)], "relatives.csv")
"""


def main():
    if language == "r" and (shutil.which("Rscript") is None or subprocess.run(
            ["Rscript", "-e", "library(data.table); library(Matrix)"], capture_output=True).returncode):
        skip("R with data.table and Matrix is not installed")
    try:
        import pandas, scipy
    except ImportError as missing:
        skip(f"{missing.name} is not installed")
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        shutil.copytree(source / "examples/dairy", "out/dairy")
        with open("out/dairy/dairy.kve") as directives, open("listing", "w") as listing:
            subprocess.run(kve1, stdin=directives, stdout=listing, cwd="out/dairy", check=True)
        environment = {**os.environ, "PATH": f"{kve.parent}:{os.environ['PATH']}"}
        subprocess.run(["sh", "-e"], input=blocks["sh"], text=True, check=True, env=environment)
        if language == "python":
            found = {}
            exec(blocks["python"], found)
            check_python(found)
        else:
            subprocess.run(["Rscript", "-"], input=blocks["r"] + R_CHECK, text=True, check=True, env=environment)
            import csv
            place, a, _ = recount()
            for row in csv.DictReader(open("relatives.csv")):
                expected = a[place[402493], place[int(row["identity"])]]
                assert abs(float(row["relationship"]) - expected) < 1e-8, row


main()
