#!/usr/bin/env python3
"""make_seeds.py FOLDER: what the fuzzers begin with, a folder of small inputs for each target.

Directive files are those of the examples, made to name the input files of tests/small_inputs.h. The
first byte of most other inputs selects what is done with the rest: whole_run.cpp has the choices.
"""
import pathlib
import re
import struct
import sys

root = pathlib.Path(__file__).resolve().parent.parent
folder = pathlib.Path(sys.argv[1])

VARIABLES = "$VARIABLE\nA B C D X W Y1 Y2 V Z\n\n"
STRUCTURES = """$OLDSOL old
$FINFO foreign
$VAR_REST
VAR 1 1
$VAR_STR 1 COR ASCII four
$VAR_STR 2 PED 6 ASCII grouped
$VAR_STR 3 PGMIX 1 ASCII ped typed genomic 0.25 G-ADJUST
$VAR_STR 4 GREL ASCII four
$VAR_STR 5 DOM 2 ASCII dom
$GLMM 2 VARF=USER(MU,Y-MU) LINK=USER(MU,1,ETA)
$RESIDUALS ASCII
$TD_PTD 2 AM
$GLMM_PRED 10 1.0D-4
$SOL_COV 2 1 2
$MODEL
2
0
0
3 2 6 1 3 2 2 3 2
4 0 2 1 2
5 1 2 3 4 5
1 2
2 1 1(3)
0
1
1 2
$PRIOR
1 1 1 1
2 1 1 1
2 2 2 1
2 3 3 1
3 1 1 1
4 1 1 1
5 1 1 1
6 1 1 4
6 2 2 4
"""
SAMPLING = """$REDUCE
1
1
$VAR_STR 1 PED 1 ASCII ped
$VAR_STR 2 GROUP 3
$CURE 3 4 2 1
$MIXTURE 4
$CENS 1 CENS = 3 INT_MAX = 2
$MODEL
2 2 0 0 0
0
0
3 2 2 1 2
4 0 2 1 2
1 1
1 1
0
1 1(2) [2:3,2,L]
0
$PRIOR
1 1 1 1
2 1 1 4
2 2 2 4
"""


def head(task, structures):
    return f"$ANALYSE {task} 1 2\n$DATA ASCII (4,6,-9) data\n{VARIABLES}{structures}"


def example(path):
    text = re.sub(r"\$DATA .*", "$DATA ASCII (4,6,-9) data", path.read_text())
    text = re.sub(r"\$VARIABLE\n([A-Z].*\n)+", VARIABLES, text)
    text = re.sub(r"\w+\.ped", "ped", text).replace("pigs.typed", "typed")
    return text.replace("pigs.gen", "genomic")


def framed(*records):
    frame = lambda r: struct.pack("<i", len(r)) + r + struct.pack("<i", len(r))
    return b"".join(map(frame, records))


PEDIGREE = "1 0 0 1\n2 0 0 1\n3 1 2 2\n4 1 3 3\n12 4 3 4\n13 -1 -2 0\n"
ELEMENTS = "0 0 1.5\n" + "".join(f"{k} {k} 2.5D0\n" for k in range(1, 13)) + "1 3 -.5, remark\n"
DATA = "".join(f"{1 + k % 3} {k % 12 + 1} {1 + k % 4} 1 2 1 {k % 5} {k} .5 -9\n" for k in range(9))
INTEGERS = [struct.pack("<4i", k, k // 2, k // 3, k) for k in range(1, 8)]
BINARY_DATA = framed(*(struct.pack("<2if", 1 + k % 3, 1 + k % 12, k) for k in range(9)))
BINARY_ELEMENTS = framed(*(struct.pack("<2id", k, k, 1.5) for k in range(1, 13)))
NUMBERS = ["1", "-2.5E+3", "+.5d-2", "2147483648", "nan", "-inf", "1e999", "3*1,,/", " 7 , 8\t"]
MODELS = ["2\n0\n0\n3 2 3 1 3 2 # no weight\n4 0 2 1 2\n2 1 1+1\n1 2(0.5)\n2 1 1(2)\n0\n1\n1 2\n",
          "1\n0\n6 0 2 1 2\n1 1\n[3:4,2,L]\n0\n", "3 1 1 1 0\n0\n0\n0\n3 0 2[2] 1 2\n"]
RESTRICTIONS = "VAR 1 1 2\nCOV 1 2,1\nCOR 2\nV_R 1 1 1 1 2 2\n"


def choices(*contents):
    """Each content under each of the choices that the first byte makes."""
    return [bytes([48 + k]) + content for content in contents for k in range(10)]


seeds = {
    "directives": [example(p).encode() for p in sorted(root.glob("examples/*/*.kve"))]
    + [head("1 1", STRUCTURES).encode(), head("11 9", STRUCTURES.replace("$VAR_REST\nVAR 1 1\n", "")).encode(),
       head("2 0", SAMPLING).encode()],
    "function_string": [b"MU*(1-MU)", b"2*(Y*LOG(Y/MU)-(Y-MU))", b"-1/((1-MU)*LOG10(1-MU)**2)"],
    "numbers": [n.encode() for n in NUMBERS],
    "text_records": [bytes([k, 9 * k]) + t.encode() for k, t in enumerate([PEDIGREE, ELEMENTS, DATA] + NUMBERS)],
    "framed_records": [bytes([8]) + BINARY_ELEMENTS, bytes([12]) + BINARY_DATA, b"\0" + framed(b"", b"1")],
    "element_file": choices(ELEMENTS.encode(), BINARY_ELEMENTS, PEDIGREE.encode()),
    "dimensions": [b"&kvedim MFL=40 MDL=15, MAXNRM=60 / ! text\n&KVEDIM maxzhz = +7 ifspwsp=, mgsgr 3 &end"],
    "model": choices(*map(str.encode, MODELS)),
    "priors": choices(b"1 1 1 1\n1 2 2 1\n\n2 1 1 4.5D0\n2 2 1 -1\n2 2 2 4\n"),
    "data": choices(DATA.encode(), BINARY_DATA),
    "pedigree": choices(PEDIGREE.encode(), framed(*INTEGERS)),
    "matrices": choices(ELEMENTS.encode(), BINARY_ELEMENTS, b"7\n9\n12\n", framed(*INTEGERS)),
    "restrictions": choices(RESTRICTIONS.encode()),
    "old_solutions": choices(b"1 2 7 1\n2 1 0 1 1 0 0 1 .5\n4 1 0 1 7 0 0 2 -1\n"),
    "foreign_information": choices(b"3 -2 1 5 .5 -999999 0 -999999 0\n4 -2 9 5 .5 0 0 0 0\n"),
}
for target, contents in seeds.items():
    (folder / target).mkdir(parents=True, exist_ok=True)
    for number, content in enumerate(contents):
        (folder / target / f"seed{number}").write_bytes(content)
