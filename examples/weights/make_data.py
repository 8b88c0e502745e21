#!/usr/bin/env python3
"""Makes weights.dat: weights of beef calves from 8 herds and 5 years, with known effects.

The true values stand below, so that a later analysis can be held against them.
"""
import random

random.seed(20240417)

HERDS, YEARS, CALVES = 8, range(2019, 2024), 50
SEX = {1: (0.0, 0.0, 0.0), 2: (-2.3, -17.0, -48.0)}  # 1 bull, 2 heifer
AGE_OF_DAM = {2: (-3.1, -22.0, -19.0), 3: (-1.4, -11.0, -9.0), 4: (-0.5, -4.0, -3.0), 5: (0, 0, 0)}
MEAN = (38.5, 236.0, 392.0)
GAIN = {1: (1.08, 0.95), 2: (0.94, 0.72)}  # kg a day around the mean age, by sex
# lower triangles L with L L' the (co)variances of herd-years and of residuals
HERD_YEAR = ((1.1,), (3.0, 11.0), (3.5, 9.0, 15.0))
RESIDUAL = ((4.2,), (7.5, 22.0), (8.0, 17.0, 29.0))
MISSING = -999


def draw(triangle):
    z = [random.gauss(0, 1) for _ in triangle]
    return [sum(l * z[j] for j, l in enumerate(row)) for row in triangle]


def calf(herd_year_effect, number, herd_year):
    sex = random.choice((1, 2))
    dam = random.choices((2, 3, 4, 5), weights=(22, 19, 16, 43))[0]
    age_w, age_y = random.randint(160, 240), random.randint(335, 395)
    weighings = random.choice((1, 1, 2, 3))
    e = draw(RESIDUAL)
    weight = [MEAN[t] + SEX[sex][t] + AGE_OF_DAM[dam][t] + herd_year_effect[t] for t in range(3)]
    weight[0] += e[0]
    weight[1] += GAIN[sex][0] * (age_w - 200) + e[1] / weighings**0.5
    weight[2] += GAIN[sex][1] * (age_y - 365) + e[2]
    row = [round(w, 1) for w in weight]
    if random.random() < 0.04:
        row[0] = MISSING
    if random.random() < 0.09:
        row[1], weighings = MISSING, MISSING
    if random.random() < 0.22:
        row[2] = MISSING
    if random.random() < 0.01:
        dam = 0
    return f"{number:7d} {herd_year:6d} {sex} {dam} {age_w:4d} {age_y:4d} {row[0]:7} {row[1]:7} {row[2]:7} {weighings:4d}"


number = 100000
with open("weights.dat", "w") as out:
    for herd in range(1, HERDS + 1):
        for year in YEARS:
            effect = draw(HERD_YEAR)
            for _ in range(CALVES + random.randint(-8, 8)):
                number += random.randint(1, 9)
                out.write(calf(effect, number, herd * 10000 + year) + "\n")
