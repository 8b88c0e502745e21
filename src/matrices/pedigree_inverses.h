// Stage process_pedigrees: the pedigrees in order, and the inverse of the relationship matrix of
// each.
//
// Reads the rows of IDL that the pedigree reader has left, and the phantom group codes in IFL.
// Factor by factor: writes the order, links and level numbers of the animals (order_pedigree), the
// matrix files AINVk, AINV_RAMk and PGMIXk, INBREED under method 1, PEDDATA, the counts of the
// factor, and ad, log_det, n_phg, n_ainv_rows and n_ram_rows of RMAT. Stops on parents that a
// method with inbreeding cannot process before their progeny, on methods that are not implemented,
// and on files that cannot be written.
#pragma once

namespace kve {

void process_pedigrees();

}  // namespace kve
