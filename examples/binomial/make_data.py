#!/usr/bin/env python3
"""Makes hatching.dat: eggs set and hatched of hens by 40 cocks, with known effects on the logit scale."""
import math
import random

random.seed(20250903)

COCKS, HENS = 40, 12  # hens: daughters of each cock
MEAN, COCK, HEN = 1.4, 0.35, 0.5  # mean and standard deviations
WEEK = {1: -0.3, 2: 0.1, 3: 0.2, 4: 0.0}
STORED = -0.08  # a day of storage
MISSING = -999

with open("hatching.dat", "w") as out:
    hen = 100
    for cock in range(1, COCKS + 1):
        value = random.gauss(0, COCK)
        for _ in range(HENS):
            hen += 1
            week, stored, eggs = random.choice(list(WEEK)), random.randint(0, 7), random.randint(4, 15)
            eta = MEAN + WEEK[week] + STORED * stored + value + random.gauss(0, HEN)
            hatched = sum(random.random() < 1 / (1 + math.exp(-eta)) for _ in range(eggs))
            rate = f"{hatched / eggs:6.4f}" if random.random() > 0.02 else f"{MISSING:6d}"
            out.write(f"{hen:5d} {cock:3d} {week} {rate} {eggs:3d} {STORED * stored:6.2f}\n")
