#include "kve/check/findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <tuple>

#include "kve/check/catalogue.h"

namespace kve::companion {

namespace {

using nlohmann::json;

std::string text_of(const Finding& finding) {
    std::string line = finding.place.file;
    if (finding.place.line > 0) line += fmt::format(":{}", finding.place.line);
    if (finding.place.line > 0 && finding.place.column > 0)
        line += fmt::format(":{}", finding.place.column);
    line +=
        fmt::format(": {}: {} [{}]\n", name_of(finding.severity), finding.message, finding.code);
    if (!finding.hint.empty()) line += fmt::format("    {}\n", finding.hint);
    return line;
}

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

std::vector<const Finding*> Findings::shown() const {
    std::vector<const Finding*> sorted;
    sorted.reserve(kept_.size());
    for (const Finding& finding : kept_) sorted.push_back(&finding);
    std::ranges::stable_sort(sorted, {}, [](const Finding* f) {
        return std::tie(f->place.file, f->place.line, f->place.column);
    });
    std::map<std::string, int64_t> n;
    std::erase_if(sorted, [&n](const Finding* f) { return ++n[f->code] > kShownOfCode; });
    return sorted;
}

std::string Findings::as_text() const {
    std::string text;
    for (const Finding* finding : shown()) text += text_of(*finding);
    for (const auto& [code, n] : n_of_code_)
        if (n > kShownOfCode)
            text +=
                fmt::format("{} findings of this kind, {} are shown [{}]\n", n, kShownOfCode, code);
    return text;
}

json Findings::as_json() const {
    json all = json::array();
    for (const Finding* f : shown())
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
