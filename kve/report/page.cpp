#include "kve/report/page.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "kve/report/embedded.h"

namespace kve::companion {

namespace {

using nlohmann::ordered_json;

ordered_json to_json(const Cell& cell) {
    if (const auto* whole = std::get_if<int64_t>(&cell)) return *whole;
    if (const auto* words = std::get_if<std::string>(&cell)) return *words;
    const auto* real = std::get_if<double>(&cell);
    return real != nullptr && std::isfinite(*real) ? ordered_json(*real) : ordered_json(nullptr);
}

ordered_json to_json(const Table& table) {
    ordered_json columns = ordered_json::array(), rows = ordered_json::array();
    for (const TableColumn& c : table.columns) {
        columns.push_back({{"name", c.name}});
        if (c.digits) columns.back()["digits"] = *c.digits;
    }
    for (const std::vector<Cell>& row : table.rows) {
        ordered_json cells = ordered_json::array();
        for (const Cell& cell : row) cells.push_back(to_json(cell));
        rows.push_back(std::move(cells));
    }
    return {{"caption", table.caption}, {"columns", columns}, {"rows", rows}};
}

const char* name_of(Tone tone) {
    constexpr const char* kNames[] = {"", "main", "mark", "quiet", "second"};
    return kNames[static_cast<int>(tone)];
}

ordered_json to_json(const Axis& axis) {
    ordered_json all{{"title", axis.title}};
    if (axis.least) all["least"] = *axis.least;
    if (axis.most) all["most"] = *axis.most;
    return all;
}

ordered_json to_json(const Chart& chart) {
    constexpr const char* kKinds[] = {"histogram", "bars", "stacked", "shares", "lines"};
    ordered_json all{{"kind", kKinds[chart.kind]},     {"x", to_json(chart.x)},
                     {"y", to_json(chart.y)},          {"labels", chart.labels},
                     {"first", chart.first},           {"width", chart.width},
                     {"series", ordered_json::array()}};
    for (const Series& s : chart.series) {
        ordered_json tones = ordered_json::array();
        for (const Tone tone : s.tones) tones.push_back(name_of(tone));
        all["series"].push_back({{"name", s.name}, {"values", s.values}, {"tones", tones}});
    }
    return all;
}

ordered_json to_json(const Grid& grid) {
    ordered_json squares = ordered_json::array();
    for (const Grid::Square& s : grid.squares)
        squares.push_back(ordered_json::array({s.i, s.j, s.value}));
    return {{"kind", "grid"},         {"x", to_json(grid.x)},   {"y", to_json(grid.y)},
            {"firstX", grid.first_x}, {"widthX", grid.width_x}, {"firstY", grid.first_y},
            {"widthY", grid.width_y}, {"unit", grid.unit},      {"downward", grid.is_downward},
            {"squares", squares}};
}

ordered_json to_json(const HeatMap& map) {
    return {{"kind", "heat"},         {"names", map.names},     {"values", map.values},
            {"colours", map.colours}, {"low", map.low},         {"high", map.high},
            {"digits", map.digits},   {"signed", map.is_signed}};
}

ordered_json to_json(const Figure& figure) {
    ordered_json all{{"title", figure.title},
                     {"words", figure.words},
                     {"wide", figure.is_wide},
                     {"table", to_json(figure.table)},
                     {"picture", nullptr}};
    std::visit(
        [&](const auto& picture) {
            if constexpr (!std::is_same_v<std::decay_t<decltype(picture)>, std::monostate>)
                all["picture"] = to_json(picture);
        },
        figure.picture);
    return all;
}

ordered_json to_json(const Note& note) {
    constexpr const char* kKinds[] = {"good", "plain", "warning", "error"};
    return {{"kind", kKinds[note.kind]},
            {"text", note.text},
            {"source", note.source},
            {"times", note.times}};
}

ordered_json to_json(const Fact& fact) {
    return {{"label", fact.label}, {"value", to_json(fact.value)}, {"more", fact.more}};
}

ordered_json to_json(const Section& section);

template <class Item>
ordered_json all_of(const std::vector<Item>& items) {
    ordered_json all = ordered_json::array();
    for (const Item& item : items) all.push_back(to_json(item));
    return all;
}

ordered_json to_json(const Section& section) {
    return {{"id", section.id},
            {"title", section.title},
            {"words", section.words},
            {"notes", all_of(section.notes)},
            {"facts", all_of(section.facts)},
            {"tables", all_of(section.tables)},
            {"figures", all_of(section.figures)}};
}

// Names can hold anything, such as the end of a script. In JSON a letter may stand as its number.
std::string text_in_script(const ordered_json& data) {
    std::string safe;
    for (const char c : data.dump(-1, ' ', true, ordered_json::error_handler_t::replace))
        if (c == '<' || c == '>' || c == '&')
            safe += c == '<' ? "\\u003c" : c == '>' ? "\\u003e" : "\\u0026";
        else
            safe += c;
    return safe;
}

// Puts each part where the template has its mark, in one pass: a part may hold marks of its own.
std::string fill_template(std::string_view page,
                          const std::vector<std::pair<std::string, std::string_view>>& parts) {
    std::string filled;
    while (!page.empty()) {
        const std::size_t mark = std::min(page.find("{{"), page.size());
        filled += page.substr(0, mark);
        page.remove_prefix(mark);
        if (page.empty()) break;
        const std::size_t end = page.find("}}");
        const std::string_view name = page.substr(2, end - 2);
        for (const auto& [part, text] : parts)
            if (part == name) filled += text;
        page.remove_prefix(end + 2);
    }
    return filled;
}

}  // namespace

std::string render_page(const Page& page) {
    const std::string data = text_in_script({{"title", page.title},
                                             {"subtitle", page.subtitle},
                                             {"foot", page.foot},
                                             {"sections", all_of(page.sections)}});
    return fill_template(embedded::page_html, {{"style", embedded::page_css},
                                               {"library", embedded::chart_js},
                                               {"data", data},
                                               {"script", embedded::page_js}});
}

}  // namespace kve::companion
