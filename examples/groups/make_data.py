#!/usr/bin/env python3
"""Makes sheep.ped and sheep.dat: lambs of 4 flocks in 8 years, with known effects.

The flocks buy rams from two breeders and, later on, ewes from a market; the parents of bought and of
first animals are unknown, and their groups differ in breeding value. The true values stand below.
"""
import random

random.seed(20250611)

FLOCKS, EWES, YEARS = 4, 18, range(2014, 2022)
# Unknown parents: mean breeding value of their group, kg of weaning weight
FIRST_EWES, NORTH, SOUTH, MARKET = -1, -2, -3, -4
GROUP_MEAN = {FIRST_EWES: 0.0, NORTH: 1.6, SOUTH: 0.4, MARKET: -1.2}
RAMS_A_YEAR, RAM_YEARS, MARKET_FROM = 3, 2, 2017
ANIMAL, RESIDUAL, FLOCK_YEAR = 1.6, 2.3, 1.5  # standard deviations
MEAN, SEX, LITTER, AGE = 24.0, {1: 1.4, 2: 0.0}, {1: 0.0, 2: -2.8, 3: -4.4}, 0.21
MISSING = -999


class Animal:
    last_number = 1000

    def __init__(self, year, sire=None, dam=None, group=0, flock=0):
        Animal.last_number += 1
        self.number, self.year, self.flock, self.group = Animal.last_number, year, flock, group
        self.sire, self.dam = sire, dam
        if group:
            self.value = GROUP_MEAN[group] + random.gauss(0, ANIMAL)
        else:
            self.value = (sire.value + dam.value) / 2 + random.gauss(0, ANIMAL * 0.5**0.5)
        pedigree.append(self)

    def pedigree_line(self):
        sire, dam = (p.number if p else self.group for p in (self.sire, self.dam))
        return f"{self.number:6d} {sire:6d} {dam:6d} {self.year}\n"


def lamb_line(lamb, sex, litter, flock_year):
    age = random.randint(85, 115)
    weight = (MEAN + SEX[sex] + LITTER[litter] + AGE * (age - 100) + flock_year + lamb.value
              + random.gauss(0, RESIDUAL))
    weight = f"{weight:6.1f}" if random.random() > 0.04 else f"{MISSING:6d}"
    return f"{lamb.number:6d} {lamb.flock * 10000 + lamb.year:6d} {sex} {litter} {age:4d} {weight}\n"


pedigree, rams, young, data = [], [], [], []
ewes = [Animal(YEARS[0] - random.randint(2, 4), group=FIRST_EWES, flock=f)
        for f in range(1, FLOCKS + 1) for _ in range(EWES)]
for year in YEARS:
    rams += [Animal(year - 2, group=random.choice((NORTH, SOUTH))) for _ in range(RAMS_A_YEAR)]
    rams = rams[-RAMS_A_YEAR * RAM_YEARS:]
    flock_year = {f: random.gauss(0, FLOCK_YEAR) for f in range(1, FLOCKS + 1)}
    kept = []
    for ewe in ewes:
        ram, litter = random.choice(rams), random.choices((1, 2, 3), (5, 4, 1))[0]
        for _ in range(litter):
            lamb, sex = Animal(year, ram, ewe, flock=ewe.flock), random.choice((1, 2))
            data.append(lamb_line(lamb, sex, litter, flock_year[ewe.flock]))
            if sex == 2 and random.random() < 0.35:
                kept.append(lamb)
    # a quarter of the ewes leaves; yearlings come in, and from some year on ewes from the market
    ewes = [e for e in ewes if random.random() > 0.25 and year - e.year < 7]
    for flock in range(1, FLOCKS + 1):
        have = [e for e in ewes if e.flock == flock]
        own = [y for y in young if y.flock == flock]
        ewes += own[:EWES - len(have)]
        if year >= MARKET_FROM:
            ewes.append(Animal(year - 2, group=MARKET, flock=flock))
    young = kept

with open("sheep.ped", "w") as out:
    out.writelines(a.pedigree_line() for a in pedigree)
with open("sheep.dat", "w") as out:
    out.writelines(data)
