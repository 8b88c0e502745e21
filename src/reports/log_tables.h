// Stage write_log_tables: the effects of all traits, in KVE_LOG: tables of absorbed effects and of
// covariables, where there are any, of class effects and of the matrix numbers of random effects.
//
// Reads DIRECTIVES, KVEINT and MODEL, writes KVE_LOG. Nothing stops it.
#pragma once

namespace kve {

void write_log_tables();

}  // namespace kve
