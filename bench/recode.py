# What a user of Python would do with the data of generate_data instead: read, rank the class
# columns, write levels and traits in binary.
#
#     python3 recode.py DATA
import sys

import numpy
import pandas

data = pandas.read_csv(sys.argv[1], sep=" ", header=None)
levels = [pandas.factorize(data[column], sort=True)[0].astype("int32") + 1 for column in (1, 2, 3)]
numpy.column_stack(levels).tofile("levels")
data[[7, 8, 9]].to_numpy("float32").tofile("traits")
