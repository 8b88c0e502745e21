#!/usr/bin/env python3
"""Makes dairy.ped and dairy.dat: cows of 18 dairy herds over 14 years, with known effects.

A heifer calves at about two years of age and then once a year; bulls are used in all herds from
their third to their sixth year. The true values stand below, so that a later analysis can be held
against them.
"""
import random

random.seed(20250602)

HERDS, COWS = 18, 26
FIRST_YEAR, FIRST_RECORDS, LAST_YEAR = 2008, 2014, 2021
BULLS_A_YEAR, BULL_DAMS = 5, 60
KEPT = 0.42  # calvings from which a heifer is kept
SIRE_UNKNOWN = 0.03
LEAVE = (0.22, 0.30, 0.40, 0.60, 1.0)  # cows that leave after their 1st, 2nd, ... calving
MISSING = -999
# Milk and protein yield in 305 days, kg: lower triangles L with L L' the (co)variances.
ANIMAL = ((620.0,), (17.5, 10.0))
PERMANENT = ((430.0,), (13.0, 6.0))
RESIDUAL = ((610.0,), (18.0, 7.5))
HERD = ((500.0,), (16.0, 5.0))
HERD_YEAR = ((260.0,), (8.0, 4.0))
MEAN = (7300.0, 247.0)
LACTATION = {1: (0.0, 0.0), 2: (950.0, 33.0), 3: (1350.0, 44.0)}  # 3: third and later
AGE = {1: (55.0, 1.9), 2: (25.0, 0.9), 3: (-4.0, -0.2)}  # kg a month of age at calving
MEAN_AGE = {1: 25.5, 2: 38.5, 3: 60.0}


def draw(triangle, factor=1.0):
    z = [random.gauss(0, factor) for _ in triangle]
    return [sum(l * z[j] for j, l in enumerate(row)) for row in triangle]


class Animal:
    last_number = 400000

    def __init__(self, born, sire=None, dam=None, herd=0):
        Animal.last_number += random.randint(1, 7)
        self.number, self.sire, self.dam, self.herd = Animal.last_number, sire, dam, herd
        self.born, self.day = born, random.randint(1, 28)  # months since year 0; day of the month
        self.calvings, self.due = 0, born + random.randint(23, 28)
        # An unknown parent leaves its quarter of the variance. The little that inbreeding takes
        # away is passed over.
        parents = [p.value for p in (sire, dam) if p]
        own = draw(ANIMAL, (1 - 0.25 * len(parents)) ** 0.5)
        self.value = [own[t] + 0.5 * sum(p[t] for p in parents) for t in range(2)]
        self.permanent = draw(PERMANENT)

    def pedigree_line(self):
        sire, dam = (p.number if p else 0 for p in (self.sire, self.dam))
        year, month = divmod(self.born, 12)
        return f"{self.number:7d} {sire:7d} {dam:7d} {year * 10000 + (month + 1) * 100 + self.day}\n"


def data_line(cow, month, shared):
    """`shared`: effects that the cow has in common with its herd and herd-year."""
    lactation, age = min(cow.calvings, 3), month - cow.born
    e = draw(RESIDUAL)
    milk, protein = (
        MEAN[t] + shared[t] + LACTATION[lactation][t]
        + AGE[lactation][t] * (age - MEAN_AGE[lactation]) + cow.value[t] + cow.permanent[t] + e[t]
        for t in range(2))
    protein = f"{protein:6.1f}" if random.random() > 0.06 else f"{MISSING:6d}"
    return f"{cow.number:7d} {cow.herd * 10000 + month // 12:7d} {lactation} {age:4d} {milk:7.0f} {protein}\n"


def related(cow, bull):
    """The bull is the cow's sire or her sire's sire."""
    return cow.sire is not None and bull in (cow.sire, cow.sire.sire)


def founder(herd=0):
    animal = Animal((FIRST_YEAR - random.randint(2, 5)) * 12 + random.randint(0, 11), herd=herd)
    while animal.due < FIRST_YEAR * 12:
        animal.due += random.randint(12, 14)
        animal.calvings += 1
    return animal


def calve(cow, month, bulls, shared):
    """Returns the heifer calf, if one is kept. The dam stays, with a new date, or leaves."""
    cow.calvings += 1
    if month >= FIRST_RECORDS * 12:
        data.append(data_line(cow, month, shared))
    leaves = random.random() < LEAVE[min(cow.calvings, 5) - 1]
    cow.due = None if leaves else month + random.randint(12, 14)
    if random.random() > KEPT:
        return None
    free = [b for b in bulls if not related(cow, b)]
    sire = random.choices(free, [bulls[b] for b in free])[0] if random.random() > SIRE_UNKNOWN else None
    return Animal(month, sire, cow if cow in recorded else None, cow.herd)


def young_bulls(month, bulls):
    dams = sorted((c for c in cows if c.calvings and c in recorded), key=lambda c: -c.value[1])
    for dam in random.sample(dams[:BULL_DAMS], BULLS_A_YEAR):
        choice = random.sample([b for b in bulls if not related(dam, b)], 3)
        yield Animal(month + random.randint(0, 11), max(choice, key=lambda b: b.value[1]), dam)


bulls = [founder() for _ in range(14)]
cows = [founder(h) for h in range(1, HERDS + 1) for _ in range(COWS)]
recorded = dict.fromkeys(bulls + cows)  # animals with a pedigree record, in order
herd = {h: draw(HERD) for h in range(1, HERDS + 1)}
data = []

for month in range(FIRST_YEAR * 12, (LAST_YEAR + 1) * 12):
    if month % 12 == 0:
        # some bulls are used much more than others
        in_use = {b: random.choice((1, 2, 4, 9)) for b in bulls if 24 <= month - b.born < 72}
        born = list(young_bulls(month, in_use))
        bulls += born
        recorded.update(dict.fromkeys(born))
        shared = {h: [a + b for a, b in zip(herd[h], draw(HERD_YEAR))] for h in herd}
        if month >= FIRST_RECORDS * 12:  # one cow a year is bought, without a pedigree record
            cows.append(Animal(month - 30, herd=random.randint(1, HERDS)))
            cows[-1].due = month
    for cow in [c for c in cows if c.due == month]:
        calf = calve(cow, month, in_use, shared[cow.herd])
        if calf:
            cows.append(calf)
            recorded[calf] = None
    cows = [c for c in cows if c.due]

with open("dairy.ped", "w") as out:
    out.writelines(a.pedigree_line() for a in sorted(recorded, key=lambda a: a.number))
with open("dairy.dat", "w") as out:
    out.writelines(data)
