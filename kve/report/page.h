// A page of sections with figures and tables, before it has a form.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace kve::companion {

// Nothing, a number, or words. A real that is infinite or not a number is shown as nothing.
using Cell = std::variant<std::monostate, int64_t, double, std::string>;

struct TableColumn {
    std::string name;
    std::optional<int> digits = {};  // behind the decimal point; else as many as matter
};

struct Table {
    std::vector<TableColumn> columns = {};
    std::vector<std::vector<Cell>> rows = {};
    std::string caption = {};
};

// What a colour stands for. Series without a tone get colours that can be told apart.
enum class Tone { none, main, mark, quiet, second };

struct Series {
    std::string name;
    std::vector<double> values;
    std::vector<Tone> tones = {};  // one, or one for each value
};

struct Axis {
    std::string title;
    std::optional<double> least = {}, most = {};
};

struct Chart {
    enum Kind {
        histogram,  // bars of one width on an axis of numbers; the second series is a line
        bars,       // by label
        stacked,    // by label, upon each other
        shares,     // the same, lying, of 100 %
        lines,      // by label
    };
    Kind kind;
    Axis x, y;
    std::vector<Series> series = {};
    std::vector<std::string> labels = {};
    double first = 0.0, width = 1.0;  // of a histogram
};

// Coloured rectangles on two axes of numbers.
struct Grid {
    struct Square {
        std::size_t i, j;
        double value;
    };
    Axis x, y;
    double first_x = 0.0, width_x = 1.0, first_y = 0.0, width_y = 1.0;
    std::string unit;          // of the value
    bool is_downward = false;  // the first row is on top, as in a matrix
    std::vector<Square> squares = {};
};

// A table with coloured cells. Colours go from -1 over 0 to 1.
struct HeatMap {
    std::vector<std::string> names = {};  // of rows and columns
    std::vector<std::vector<double>> values = {}, colours = {};
    std::string low = {}, high = {};  // what the ends of the scale stand for
    int digits = 2;
    bool is_signed = true;
};

struct Figure {
    std::string title;
    std::string words = {};
    std::variant<std::monostate, Chart, Grid, HeatMap> picture = {};
    Table table = {};  // the numbers behind it
    bool is_wide = false;
};

// A number that stands on top.
struct Fact {
    std::string label;
    Cell value;
    std::string more = {};
};

struct Note {
    enum Kind { good, plain, warning, error };
    Kind kind;
    std::string text;
    std::string source = {};
    int64_t times = 1;
};

struct Section {
    std::string id, title;
    std::vector<std::string> words = {};
    std::vector<Note> notes = {};
    std::vector<Fact> facts = {};
    std::vector<Table> tables = {};
    std::vector<Figure> figures = {};
};

struct Page {
    std::string title, subtitle, foot = {};
    std::vector<Section> sections = {};
};

// The page as one HTML file that asks nobody for anything.
std::string render_page(const Page& page);

}  // namespace kve::companion
