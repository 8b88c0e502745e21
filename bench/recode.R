# What a user of R would do with the data of generate_data instead: read, rank the class columns,
# write levels and traits in binary.
#
#     Rscript recode.R DATA
library(data.table)
data <- fread(commandArgs(TRUE)[1], header = FALSE)
levels <- lapply(data[, 2:4], function(column) as.integer(factor(column)))
writeBin(as.vector(do.call(rbind, levels)), "levels")
writeBin(as.vector(do.call(rbind, data[, 8:10])), "traits", size = 4)
