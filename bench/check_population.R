# Reckons the measures of kve ped anew from its pedigree, with dense matrices, and prints both.
#
#     Rscript check_population.R DIR
#
# DIR is the folder of kve ped --stats with births in days, some thousands of animals at most.
folder <- commandArgs(TRUE)[1]
p <- read.table(file.path(folder, "pedigree"), col.names = c("id", "sire", "dam", "sort"))
told <- read.csv(file.path(folder, "population.csv"))
n <- nrow(p)
s <- match(p$sire, p$id, 0); d <- match(p$dam, p$id, 0)
birth <- as.Date(as.character(p$sort), "%Y%m%d")
year <- as.integer(substr(p$sort, 1, 4))

A <- matrix(0, n, n)                       # the tabular method
for (j in seq_len(n)) {
    if (j > 1) {
        k <- seq_len(j - 1)
        row <- numeric(j - 1)
        if (s[j] > 0) row <- row + A[s[j], k] / 2
        if (d[j] > 0) row <- row + A[d[j], k] / 2
        A[j, k] <- row; A[k, j] <- row
    }
    A[j, j] <- 1 + if (s[j] > 0 && d[j] > 0) A[s[j], d[j]] / 2 else 0
}
F <- diag(A) - 1

P <- matrix(0, n, n)                       # half of the genes from each parent
for (j in seq_len(n)) for (q in c(s[j], d[j])) if (q > 0) P[j, q] <- P[j, q] + 0.5
T <- solve(diag(n) - P)
equivalent <- rowSums(T) - 1

share <- function(j, g) {                  # of the ancestors g generations above j that are known
    if (j == 0) return(0)
    if (g == 0) return(1)
    (share(s[j], g - 1) + share(d[j], g - 1)) / 2
}
line <- function(j) mean(vapply(0:4, function(g) share(j, g), 0))
completeness <- mapply(function(a, b) {
    a <- line(a); b <- line(b)
    if (a + b > 0) 2 * a * b / (a + b) else 0
}, s, d)

age <- function(parents, sons) {           # of those with progeny
    j <- which(parents > 0 & seq_len(n) %in% (if (sons) s else d))
    mean(as.numeric(birth[j] - birth[parents[j]])) / 365.25
}
interval <- mean(c(age(s, TRUE), age(s, FALSE), age(d, TRUE), age(d, FALSE)))
ref <- which(year >= told$value[told$measure == "reference_from"] &
             year <= told$value[told$measure == "reference_to"])
q <- colSums(T[ref, ]) / length(ref)
unknown <- (s == 0) + (d == 0)
founders <- ifelse(unknown == 2, q, q / 2)[unknown > 0 & q > 0]
late <- year >= max(year) - 3 * max(1, round(interval))
slope <- coef(lm(log(1 - F[late]) ~ I(as.numeric(birth[late]) / 365.25)))[[2]]
deep <- equivalent > 1
mine <- c(inbreeding = mean(F), largest_inbreeding = max(F),
          equivalent_generations = mean(equivalent), completeness = mean(completeness),
          interval_sire_son = age(s, TRUE), interval_sire_daughter = age(s, FALSE),
          interval_dam_son = age(d, TRUE), interval_dam_daughter = age(d, FALSE),
          interval = interval, regressed_rate = 1 - exp(interval * slope),
          individual_rate = mean(1 - (1 - F[deep])^(1 / (equivalent[deep] - 1))),
          reference_animals = length(ref), reference_founders = length(founders),
          effective_founders = 1 / sum(founders^2), founder_genomes = 1 / mean(A[ref, ref]))
both <- data.frame(measure = names(mine), R = mine, row.names = NULL)
both$kve <- told$value[match(both$measure, told$measure)]
both$difference <- both$R / both$kve - 1
print(both, digits = 6)
if (any(!is.finite(both$difference) | abs(both$difference) > 1e-5)) stop("they differ")
