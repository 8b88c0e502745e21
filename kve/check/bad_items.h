// Items of a text file that stop its reader: where they stand and what they may be.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/input.h"
#include "kve/check/look.h"

namespace kve::companion {

struct BadItem {
    int64_t line;
    std::string rest;    // of the line, from the item on; cut
    int64_t column = 0;  // characters from 1
    int64_t number = 0;  // of the item in its line, from 1
};

class BadItems {
 public:
    // The item under the reader, which has refused it; the rest of its line is passed over.
    void take(TextInput& file);
    int64_t count() const { return n_; }

    // Tells all of them under the code. `columns` are the names of a record's items, `effect` is
    // what KVE1 does. The file is read once more for the columns, up to the last item shown.
    void tell(Look& look, const std::string& file, const char* code,
              const std::vector<std::string>& columns, const std::string& effect);

 private:
    void find_columns(const std::string& file);

    std::vector<BadItem> first_;
    int64_t n_ = 0;
};

}  // namespace kve::companion
