#!/usr/bin/env python3
"""Makes weights.csv and pedigree.csv: what a breeders' association might hand over, with its faults.

True values: herd-year-season effects with a standard deviation of 10 kg, bulls 12 kg heavier than
heifers, 0.9 kg a day of age, additive variance 150, residual 300.
"""
import datetime
import random

random.seed(16)
HERDS = ["Höfer", "Zur Mühle", "Brandt KG", "St. Anna"]
day = datetime.date


def german(date):
    return date.strftime("%d.%m.%Y")


class Animal:
    count = 0

    def __init__(self, sire, dam, born, sex):
        Animal.count += 1
        self.name = f"DE {random.randrange(1, 17):02d} {10**6 + 7919 * Animal.count % 899981:07d}"
        self.sire, self.dam, self.born, self.sex = sire, dam, born, sex
        mean = (sire.value if sire else 0) / 2 + (dam.value if dam else 0) / 2
        share = 1 - (0.25 if sire else 0) - (0.25 if dam else 0)
        self.value = random.gauss(mean, (150 * share) ** 0.5)


bulls = [Animal(None, None, day(2013, 3, 1) + datetime.timedelta(random.randrange(300)), "M")
         for _ in range(6)]
cows = [Animal(None, None, day(2013, 1, 1) + datetime.timedelta(random.randrange(700)), "F")
        for _ in range(60)]
animals = bulls + cows
herd_of = {cow: random.choice(HERDS) for cow in cows}
effects = {}
records = []
for year in range(2017, 2021):
    calves = []
    for cow in cows:
        if random.random() < 0.2:
            continue
        born = day(year, 1, 15) + datetime.timedelta(random.randrange(240))
        sire = random.choice(bulls) if random.random() < 0.9 else None
        calf = Animal(sire, cow, born, random.choice("MF"))
        weighed = born + datetime.timedelta(random.randrange(180, 230))
        herd = herd_of[cow]
        season = effects.setdefault((herd, weighed.year, (weighed.month % 12) // 3),
                                    random.gauss(0, 10))
        weight = 60 + season + (12 if calf.sex == "M" else 0) + 0.9 * (weighed - born).days
        weight += calf.value + random.gauss(0, 300 ** 0.5)
        calves.append((calf, herd))
        records.append([calf.name, cow.name, herd, calf.sex, german(born), german(weighed),
                        f"{weight:.1f}".replace(".", ","), ""])
    animals += [calf for calf, _ in calves]
    for calf, herd in calves:
        if calf.sex == "F" and random.random() < 0.3:
            cows.append(calf)
            herd_of[calf] = herd
    young = [calf for calf, _ in calves if calf.sex == "M"]
    bulls = bulls[2:] + random.sample(young, 2)

# The faults.
records[3][6] = "NA"
records[10][6] = "."
records[17][6] = "*"
records[25][6] = "-999"
records[31][6] = ""
records[40][6] = "2l7,5"
records[44][6] = "2140"
records[52][5] = "31.02.2018"
records[58][2] = ""
records[66][7] = '"sick; twin"'
records[71] = records[71][:6]
records[80][5], records[80][4] = records[80][4], records[80][5]
records[90][3] = "O"
records.insert(100, list(records[99]))
records[110][7] = '"said: ""small"""'
with open("weights.csv", "w", encoding="utf-8-sig", newline="") as out:
    out.write("Calf;Dam;Herd;Sex;Born;Weighed;Weight;Remark\r\n")
    for k, record in enumerate(records):
        out.write(";".join(record) + "\r\n")
        if k == 120:
            out.write("\r\n")

with open("pedigree.csv", "w", encoding="utf-8", newline="") as out:
    out.write("animal,sire,dam,birth date\n")
    for k, animal in enumerate(random.sample(animals, len(animals))):
        parents = [p.name if p else ("0" if k % 2 else "") for p in (animal.sire, animal.dam)]
        out.write(f"{animal.name},{parents[0]},{parents[1]},{animal.born}\n")
        if k == 20:
            out.write(f"{animal.name},,,{animal.born}\n")
        if k == 30:
            out.write("unknown line\n")
