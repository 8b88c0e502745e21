#include "kve/results/run_findings.h"

#include <algorithm>

namespace kve::companion {

namespace {

constexpr int64_t kShown = 5;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

void RunFindings::tell(const std::string& file, const std::string& words) {
    ++n_;
    std::string shape = words;
    std::erase_if(shape, is_digit);
    auto kind = std::ranges::find_if(
        kinds_, [&](const KindTold& k) { return k.file == file && k.shape == shape; });
    if (kind == kinds_.end()) kind = kinds_.insert(kind, {file, std::move(shape), {}});
    if (++kind->n > kShown) return;
    kind->last = words;
    out_.put(fmt::format("{}: {}\n", file, words));
}

void RunFindings::tell_failure(const std::string& words) {
    const std::string all = words.starts_with(folder_) ? words.substr(folder_.size()) : words;
    const std::size_t colon = std::min(all.find(": "), all.size());
    tell(all.substr(0, colon), all.substr(std::min(colon + 2, all.size())));
}

void RunFindings::finish() {
    for (const KindTold& kind : kinds_)
        if (kind.n > kShown)
            out_.put(
                fmt::format("{}: {} more like \"{}\"\n", kind.file, kind.n - kShown, kind.last));
}

}  // namespace kve::companion
