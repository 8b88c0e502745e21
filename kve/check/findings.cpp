#include "kve/check/findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <tuple>

#include "kve/check/catalogue.h"
#include "kve/check/thresholds.h"

namespace kve::companion {

namespace {

using nlohmann::json;

std::string place_of(const Finding& finding) {
    std::string place = finding.place.file;
    if (finding.place.line > 0) place += fmt::format(":{}", finding.place.line);
    if (finding.place.line > 0 && finding.place.column > 0)
        place += fmt::format(":{}", finding.place.column);
    return place;
}

// Findings that say the same of several lines of a file.
struct Alike {
    const Finding* first = nullptr;
    int64_t n = 0;
    int64_t last_line = 0;
    bool is_shown = false;

    // Of a few lines each one is shown, so that an editor goes to it.
    bool is_one() const { return n > kLinesAlike; }
};

std::string text_of(const Finding& finding, const Alike& alike) {
    const std::string lines = alike.is_one() ? fmt::format("; so in {} lines, {}-{}", alike.n,
                                                           alike.first->place.line, alike.last_line)
                                             : "";
    return fmt::format("{}: {}: {}{} [{}]\n", place_of(finding), name_of(finding.severity),
                       finding.message, lines, finding.code);
}

class AlikeFindings {
 public:
    explicit AlikeFindings(const std::vector<const Finding*>& all) {
        for (const Finding* f : all) {
            Alike& alike = all_[key_of(*f)];
            if (alike.n == 0) alike.first = f;
            ++alike.n;
            alike.last_line = f->place.line;
        }
    }
    Alike& of(const Finding& f) { return all_.at(key_of(f)); }

 private:
    using Key = std::tuple<std::string_view, std::string_view, Severity, std::string_view,
                           std::string_view>;
    static Key key_of(const Finding& f) {
        return {f.code, f.place.file, f.severity, f.message, f.hint};
    }
    std::map<Key, Alike> all_;
};

}  // namespace

std::string_view name_of(Severity severity) {
    switch (severity) {
        case Severity::error:
            return "error";
        case Severity::warning:
            return "warning";
        default:
            return "note";
    }
}

void Findings::add(Finding finding) {
    require_explanation(finding.code);
    const auto is_same = [&finding](const Finding& other) {
        return other.code == finding.code && other.place.file == finding.place.file &&
               other.place.line == finding.place.line && other.message == finding.message;
    };
    int64_t& n = n_of_code_[finding.code];
    if (n < kKeptOfCode && std::ranges::any_of(kept_, is_same)) return;
    ++n_of_severity_[finding.severity];
    if (++n <= kKeptOfCode) kept_.push_back(std::move(finding));
}

void Findings::error(const char* code, const Place& place, std::string message, std::string hint) {
    add({code, Severity::error, place, std::move(message), std::move(hint)});
}

void Findings::warn(const char* code, const Place& place, std::string message, std::string hint) {
    add({code, Severity::warning, place, std::move(message), std::move(hint)});
}

void Findings::note(const char* code, const Place& place, std::string message, std::string hint) {
    add({code, Severity::note, place, std::move(message), std::move(hint)});
}

bool Findings::counts_only(const char* code, Severity severity) {
    const auto at = n_of_code_.find(code);
    if (at == n_of_code_.end() || at->second < kKeptOfCode) return false;
    ++at->second;
    ++n_of_severity_[severity];
    return true;
}

void Findings::count_more(const char* code, Severity severity, int64_t n) {
    if (n <= 0) return;
    n_of_code_[code] += n;
    n_of_severity_[severity] += n;
}

Severity Findings::severity_of(const std::string& code) const {
    const auto of_code = std::ranges::find(kept_, code, &Finding::code);
    return of_code == kept_.end() ? Severity::note : of_code->severity;
}

int64_t Findings::count(const std::string& code) const {
    const auto at = n_of_code_.find(code);
    return at == n_of_code_.end() ? 0 : at->second;
}

int64_t Findings::count(Severity severity) const {
    const auto at = n_of_severity_.find(severity);
    return at == n_of_severity_.end() ? 0 : at->second;
}

bool Findings::has_error_at(const std::string& file, int64_t line) const {
    return std::ranges::any_of(kept_, [&](const Finding& finding) {
        return finding.severity == Severity::error && finding.place.file == file &&
               finding.place.line == line;
    });
}

bool Findings::has_error_in(const std::string& file) const {
    return std::ranges::any_of(kept_, [&](const Finding& finding) {
        return finding.severity == Severity::error && finding.place.file == file;
    });
}

std::vector<const Finding*> Findings::sorted() const {
    std::vector<const Finding*> all;
    all.reserve(kept_.size());
    for (const Finding& finding : kept_) all.push_back(&finding);
    std::ranges::stable_sort(all, {}, [](const Finding* f) {
        return std::tie(f->place.file, f->place.line, f->place.column);
    });
    return all;
}

std::string Findings::as_text() const {
    struct Shown {
        int64_t n = 0, n_covered = 0;
        const Finding* last = nullptr;
    };
    const std::vector<const Finding*> all = sorted();
    AlikeFindings alike_ones(all);
    std::map<std::string, Shown> of_code;
    std::string text;
    for (const Finding* f : all) {
        Shown& shown = of_code[f->code];
        Alike& alike = alike_ones.of(*f);
        if (shown.n == kShownOfCode || (alike.is_one() && alike.is_shown)) continue;
        alike.is_shown = true;
        ++shown.n;
        shown.n_covered += alike.is_one() ? alike.n : 1;
        text += text_of(*f, alike);
        const bool is_new_hint = shown.last == nullptr || shown.last->hint != f->hint ||
                                 shown.last->place.file != f->place.file;
        if (is_new_hint && !f->hint.empty()) text += fmt::format("    {}\n", f->hint);
        shown.last = f;
    }
    for (const auto& [code, n] : n_of_code_)
        if (n > of_code[code].n_covered)
            text += fmt::format("{} findings of this kind, {} are shown [{}]\n", n,
                                of_code[code].n_covered, code);
    return text;
}

json Findings::as_json() const {
    json all = json::array();
    for (const Finding* f : sorted())
        all.push_back({{"code", f->code},
                       {"severity", name_of(f->severity)},
                       {"file", f->place.file},
                       {"line", f->place.line},
                       {"column", f->place.column},
                       {"message", f->message},
                       {"hint", f->hint}});
    return all;
}

json Findings::pack() const {
    json all = json::array();
    for (const Finding& f : kept_)
        all.push_back(
            {f.code, f.severity, f.place.file, f.place.line, f.place.column, f.message, f.hint});
    return {{"kept", all}, {"codes", n_of_code_}};
}

void Findings::unpack(const json& packed) {
    std::map<std::string, int64_t> not_kept;
    for (const auto& [code, n] : packed.at("codes").items()) not_kept[code] = n.get<int64_t>();
    for (const json& f : packed.at("kept")) {
        --not_kept[f[0]];
        add({f[0], f[1], {f[2], f[3], f[4]}, f[5], f[6]});
    }
    for (const auto& [code, n] : not_kept) {
        n_of_code_[code] += n;
        n_of_severity_[severity_of(code)] += n;
    }
}

}  // namespace kve::companion
