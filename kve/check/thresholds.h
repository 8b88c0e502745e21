// Where the check draws its lines between what is usual and what is told. docs/findings.md tells
// users the ones that they can notice: a number that changes here changes there.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kve::companion {

// ---- What is shown

inline constexpr int64_t kAnimalsShown = 5;  // of those that are told together
inline constexpr int64_t kLinesAlike = 3;    // more lines of which the same is said are told once

// ---- Normal distributions, in standard deviations

inline constexpr double kQuartilesOfNormal = 1.349;  // from the lower one to the upper one
inline constexpr double kTwentiethsOfNormal = 3.29;  // from the first to the last
inline constexpr double kMedianOfNormal = 0.6745;    // of the distances from the mean

// ---- Values of real columns

// Quartiles of fewer values say little.
inline constexpr int64_t kFewestForQuartiles = 30;
// One value: in standard deviations, and beside the distance of the next one. Long tails and counts
// have no such gap.
inline constexpr double kFarValue = 10, kFarGap = 2;
// A long tail of positive values goes on in their logarithms.
inline constexpr double kFarInLogs = 5;
// Many values: at most this share of all, apart from the others by so many widths of these, so many
// standard deviations and, where all are above 0, this factor.
inline constexpr double kMostApart = 0.4, kApartWidths = 2, kApartFar = 6, kApartFactor = 1.5;
// Zeros, and tiny values among positive ones, are only as far from these as these are from 0.
inline constexpr double kTinyFar = 1.5;
// A sign for missing values, such as -9 or 999: in standard deviations from all others.
inline constexpr double kMissingCodeGap = 5;
// Columns that change in the middle of the file: widths of the two kinds between them, or the ratio
// of positive ones; values on either side.
inline constexpr double kChangeGap = 3, kChangeRatio = 20;
inline constexpr std::size_t kFewestOfChange = 20;
// Blocks of lines of another kind: how far off their middle is and how near that of their
// neighbours, the ratio of positive values, the share of the file and of the block's own values.
// Units differ by more than 1.6 (pounds by 2.2), ages and lactations that a file is sorted by,
// less.
inline constexpr double kBlockFar = 4, kBlockNear = 2.5, kBlockFactor = 1.6, kMostOfBlock = 0.4,
                        kClearOfBlock = 0.8;
// Two columns are exchanged in lines that are the same to this share.
inline constexpr double kExchangedLines = 0.8;

// ---- Columns of numbers that are something else

// Identities: whole, large, and at most two or three records of an animal.
inline constexpr int64_t kFewestIdentities = 30;
inline constexpr double kLeastIdentity = 100'000, kDifferentIdentities = 0.3;
// A class: in so many records so few values.
inline constexpr int64_t kFewestForClass = 100;
inline constexpr std::size_t kMostClassValues = 10;
// Fewer records may be alike in two columns by chance.
inline constexpr int64_t kFewestForCopy = 10;
// Whoever writes more codes than this for missing values has data below the code of $DATA.
inline constexpr std::size_t kMostMissingCodes = 3;
// Share of missing values of an only trait that is worth a note.
inline constexpr double kManyMissing = 0.3;
// Prior variances beside that of the data: further off the units differ. With fewer values the
// variance of the data says little.
inline constexpr double kFarScale = 1000;
inline constexpr int64_t kFewestForVariance = 10;

// ---- Records

// Dropped of those with a value, and the share of one cause among them that is told.
inline constexpr double kManyDropped = 0.25, kShareOfCause = 0.1;
inline constexpr int kTraitsShown = 6;
inline constexpr int64_t kLevelsShown = 6;  // beside a code below 1
// Fewer records in a row may well be like others.
inline constexpr int64_t kFewestRepeated = 5;
inline constexpr std::size_t kMostRepeatedRuns = 100;

// ---- Classes

// Of fewer levels each is looked at by the user.
inline constexpr int64_t kFewestLevels = 10;
inline constexpr double kManySingle = 0.25;  // records that are alone in their level
inline constexpr int64_t kFarLevel = 5;      // times the next number
// Records beyond the first of their combination of levels: a covariable that differs in none of
// them may depend on the classes.
inline constexpr int64_t kFewestRepeats = 10;
// Contemporary groups with two animals or more.
inline constexpr int64_t kFewestGroups = 10;

// ---- Animals of the data

inline constexpr double kManyWithoutRecord = 0.05;
// A difference between two coding systems is looked for with so many identities, and found when
// nine tenths of them fit.
inline constexpr std::size_t kFewestForOffset = 5, kMostForOffset = 1000;
// A code of sex is that of sires, or dams, when four fifths of them have it.
inline constexpr int64_t kFewestOfSex = 5;
inline constexpr double kUsualSex = 0.8;
// More animals with two sexes than this: the column is not that of the animal itself.
inline constexpr double kMostTwoSexes = 0.05;

// ---- Pedigrees

// The sort variable as a whole is looked at from three parents that are not older on, and this
// share; another reading is proposed that leaves a tenth of them.
inline constexpr int64_t kFewestNotOlder = 3;
inline constexpr double kManyNotOlder = 0.05, kLeftByReading = 0.1;
// It is a date, or a year, when this share of it is.
inline constexpr double kNearlyAllDates = 0.9;
inline constexpr int64_t kManyDates = 5;  // written in one other way are told together
// Ages of parents in years. Within the first three none is odd, whatever the species; beyond them
// those that are far from the median: a quarter, five and ten times.
inline constexpr double kYoungestParent = 0.66, kOldestDam = 10, kOldestSire = 30;
inline constexpr double kYoungPart = 0.25, kOldDamFactor = 5, kOldSireFactor = 10;
inline constexpr int64_t kFewestAges = 20;  // tell what is usual
// Records in which sire and dam were exchanged: so many, so close to each other.
inline constexpr int64_t kFewestOfStretch = 5;
inline constexpr int32_t kFarInStretch = 5;

// ---- Matrices

inline constexpr double kDeterminantError = 0.01;
// Diagonals of relationships: inbred animals have up to 2, scaled ones a little less than 1.
inline constexpr double kLeastRelationship = 0.4, kMostRelationship = 2.1;
// Where KVE1 stops at elements of animals that the pedigree lacks.
inline constexpr int64_t kMostStrangers = 50, kMostGenomicStrangers = 20;

// ---- G beside A11

// Means, where G-ADJUST is not asked for.
inline constexpr double kDiagonalScale = 0.3, kBesideScale = 0.2;
// Correlation of the elements beside the diagonal, from so many pairs on that are related by more
// than the rest.
inline constexpr double kLowCorrelation = 0.3, kDoubtfulCorrelation = 0.5;
inline constexpr double kRelatedPair = 0.1;
inline constexpr int64_t kFewestRelatedPairs = 20;
// A distance that says something, whatever is usual; and in usual ones.
inline constexpr double kClearDistance = 0.25, kFarDistance = 6;
// Half sibs and closer, a little rounded.
inline constexpr double kCloseRelative = 0.24;
// A sample has lost its relatives when it lacks this share of what they have in common, and it is
// no chance: in usual lacks, for two that fit each other's relatives and for one alone.
inline constexpr double kLostShare = 0.7, kLostFar = 3, kLostFarAlone = 4;
inline constexpr int64_t kFewestLostRelatives = 2;
inline constexpr double kFitsShare = 0.4;  // lacks no more than this
// One sample: nearly as like as an animal to itself, and by the pedigree not.
inline constexpr double kSameSample = 0.95, kNotSameByPedigree = 0.8;

}  // namespace kve::companion
