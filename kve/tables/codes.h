// The codes of identities, and the table ids.tsv that tells them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kve/tables/identities.h"

namespace kve::companion {

// By place of the identity, from 1. Those of an earlier table stay, and so do its other identities,
// since files beside it may have their codes.
struct Codes {
    std::vector<int32_t> of;
    std::vector<bool> is_earlier;  // by place; empty: none is
    std::vector<std::pair<std::string, int32_t>> others;
};

// Without an earlier table those of identity_codes; with one new identities keep an integer that is
// not taken, and get the numbers above all others otherwise.
Codes make_codes(const IdentityTable& identities, bool renumber, const std::string& earlier_ids);

// A table of the columns identity and code, separated by tabs. What has the code 0 is left out.
void write_ids(const std::string& file, const IdentityTable& identities, const Codes& codes);

}  // namespace kve::companion
