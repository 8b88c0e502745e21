// The tables as a run starts with them. The list of the tables is made from the headers that
// declare them.
#pragma once

#include <memory>

#include "all_tables.h"

template <class... Tables>
void reset(Tables&... tables) {
    ((std::destroy_at(&tables), std::construct_at(&tables)), ...);
}

inline void reset_tables() { reset(ALL_TABLES); }
