#!/usr/bin/env python3
"""Makes pigs.ped, pigs.dat, pigs.typed and pigs.gen: five generations of pigs, with known effects.

Alleles at a few hundred markers go down the pedigree; some markers have an effect on daily gain.
Sixty young pigs of the last two generations are genotyped, and their genomic relationships are made
from the markers as usual: products of the centred numbers of copies of the second allele.
"""
import random

random.seed(20250917)

BOARS, SOWS, GENERATIONS, LITTER, TYPED = 8, 24, 5, 4, 60
CHROMOSOMES, MARKERS = 10, 40  # markers on each chromosome
MEAN, SEX, BATCH, RESIDUAL = 850.0, {1: 40.0, 2: 0.0}, 25.0, 60.0  # grams of daily gain
EFFECT, WITH_EFFECT = 12.0, 0.15  # of one copy of a marker's second allele; share of markers


class Pig:
    last_number = 1000

    def __init__(self, generation, litter, haplotypes, sire=None, dam=None):
        Pig.last_number += 1
        self.number, self.generation, self.litter = Pig.last_number, generation, litter
        self.haplotypes, self.sire, self.dam = haplotypes, sire, dam
        self.sex = random.choice((1, 2))
        pigs.append(self)

    def copies(self, marker):
        return self.haplotypes[0][marker] + self.haplotypes[1][marker]

    def value(self):
        return sum(effects[m] * self.copies(m) for m in range(len(effects)))

    def gamete(self):
        """One of the two haplotypes of each chromosome, changed for the other at one point at most."""
        alleles = []
        for c in range(CHROMOSOMES):
            first, crossing = random.randrange(2), random.randrange(2 * MARKERS)
            for m in range(MARKERS):
                strand = first if m < crossing else 1 - first
                alleles.append(self.haplotypes[strand][c * MARKERS + m])
        return alleles


pigs, data, litters = [], [], 0
frequency = [random.uniform(0.1, 0.9) for _ in range(CHROMOSOMES * MARKERS)]
effects = [random.gauss(0, EFFECT) if random.random() < WITH_EFFECT else 0.0 for _ in frequency]
boars, sows = ([Pig(0, 0, [[int(random.random() < f) for f in frequency] for _ in range(2)])
                for _ in range(n)] for n in (BOARS, SOWS))
for generation in range(1, GENERATIONS + 1):
    young, batch = [], {1: random.gauss(0, BATCH), 2: random.gauss(0, BATCH)}
    for sow in sows:
        litters, boar = litters + 1, random.choice(boars)
        for _ in range(LITTER):
            pig = Pig(generation, litters, [boar.gamete(), sow.gamete()], boar, sow)
            number = random.choice((1, 2))
            gain = (MEAN + SEX[pig.sex] + batch[number] + pig.value() + random.gauss(0, RESIDUAL))
            data.append(f"{pig.number:5d} {generation * 10 + number:3d} {pig.sex} {gain:7.1f}\n")
            young.append(pig)
    boars = random.sample([p for p in young if p.sex == 1], BOARS)
    sows = random.sample([p for p in young if p.sex == 2], SOWS)

with open("pigs.ped", "w") as out:
    for pig in pigs:
        sire, dam = (parent.number if parent else 0 for parent in (pig.sire, pig.dam))
        out.write(f"{pig.number:5d} {sire:5d} {dam:5d} {pig.litter:4d}\n")
with open("pigs.dat", "w") as out:
    out.writelines(data)

typed = sorted(random.sample([p for p in pigs if p.generation >= GENERATIONS - 1], TYPED),
               key=lambda pig: pig.number)
markers = range(len(frequency))
observed = [sum(p.copies(m) for p in typed) / (2 * TYPED) for m in markers]
centred = [[p.copies(m) - 2 * observed[m] for m in markers] for p in typed]
scale = sum(2 * f * (1 - f) for f in observed)
with open("pigs.typed", "w") as out:
    out.writelines(f"{pig.number:5d}\n" for pig in typed)
with open("pigs.gen", "w") as out:
    for i, row in enumerate(centred):
        for j, other in enumerate(centred[:i + 1]):
            g = sum(a * b for a, b in zip(row, other)) / scale
            out.write(f"{typed[i].number:5d} {typed[j].number:5d} {g:10.6f}\n")
