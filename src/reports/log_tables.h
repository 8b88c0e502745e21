// Tables of the effects of all traits in KVE_LOG.
#pragma once

namespace kve {

// Reads MODEL and its counts. Writes the tables of absorbed effects and of covariables, where there
// are any, of class effects and of the matrix numbers of random effects.
void write_log_tables();

}  // namespace kve
