// What kve verify finds, a line for each; of many of a kind the first ones and their number.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "kve/shared/failure.h"
#include "kve/shared/output.h"

namespace kve::companion {

class RunFindings {
 public:
    RunFindings(Output& out, const std::filesystem::path& folder)
        : out_(out), folder_((folder / "").string()) {}

    void tell(const std::string& file, const std::string& words);
    // A check of one file. What cannot be read is a finding here, and the answer false.
    template <class Check>
    bool try_check(Check check) {
        try {
            check();
        } catch (const Failure& failure) {
            tell_failure(failure.what());
            return false;
        }
        return true;
    }
    void finish();
    int64_t n() const { return n_; }

 private:
    struct KindTold {
        std::string file, shape, last;  // the text without numbers; the last one shown
        int64_t n = 0;
    };

    void tell_failure(const std::string& words);

    Output& out_;
    std::string folder_;
    std::vector<KindTold> kinds_;
    int64_t n_ = 0;
};

}  // namespace kve::companion
