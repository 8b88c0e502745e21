#include "modinf.h"

#include <regex>
#include <stdexcept>

#include "handover/model_information_reader.h"
#include "run.h"

using namespace kve;

Modinf decode_modinf(const std::string& bytes) {
    ModelInformation read;
    const std::string fault = read_model_information(bytes, read);
    if (!fault.empty()) throw std::runtime_error(fault);
    Modinf all;
    FieldsOf head{all.head}, tail{all.tail};
    describe_head(head, read.run);
    for (const Model& m : read.traits) {
        FieldsOf fields{all.traits.emplace_back()};
        describe_trait(fields, m);
    }
    for (const RMatrix& r : read.matrices) {
        FieldsOf fields{all.matrices.emplace_back()};
        describe_matrix(fields, r, &r != &read.matrices.back());
    }
    describe_tail(tail, read.run, read.matrices.back());
    return all;
}

namespace {

// The sums and products of docs/files.md: 4 (nt MF + 1), nt (nt + 1) / 2, max(`n`, 0).
class Formula {
 public:
    Formula(std::string text, const Fields& known) : text_(std::move(text)), known_(known) {
        std::erase(text_, '`');
    }
    int64_t value() { return sum(); }

 private:
    bool next(char c) {
        while (at_ < text_.size() && text_[at_] == ' ') ++at_;
        const bool found = at_ < text_.size() && text_[at_] == c;
        at_ += found;
        return found;
    }
    int64_t sum() {
        int64_t all = product();
        while (next('+')) all += product();
        return all;
    }
    int64_t product() {
        int64_t all = factor();
        for (;;)
            if (next('/'))
                all /= factor();
            else if (at_ < text_.size() && std::string_view("+),").find(text_[at_]) > 2)
                all *= factor();
            else
                return all;
    }
    int64_t factor() {
        if (next('(')) {
            const int64_t inner = sum();
            EXPECT_TRUE(next(')')) << text_;
            return inner;
        }
        const std::size_t from = at_;
        while (at_ < text_.size() && (std::isalnum(text_[at_]) || text_[at_] == '_')) ++at_;
        const std::string word = text_.substr(from, at_ - from);
        if (word != "max") {
            const auto named = known_.find(word);
            return std::stoll(named != known_.end() ? named->second : word);
        }
        next('(');
        const int64_t first = sum();
        next(',');
        const int64_t larger = std::max(first, sum());
        next(')');
        return larger;
    }

    std::string text_;
    std::size_t at_ = 0;
    const Fields& known_;
};

class DocumentedRecords {
 public:
    explicit DocumentedRecords(const std::string& bytes) : all_(framed_records(bytes)) {
        std::ifstream file(KVE1_DOCS "/files.md");
        docs_ = {std::istreambuf_iterator<char>(file), {}};
    }

    // The block whose table stands under the heading; `known` also has what other blocks tell.
    Fields block(const std::string& heading, Fields known = {}) {
        fields_.clear();
        known_ = std::move(known);
        std::istringstream lines(docs_.substr(docs_.find("\n" + heading + "\n") + 1));
        std::string line;
        while (std::getline(lines, line) && !line.starts_with("|---"))
            ;
        static const std::regex row("\\| \\w+ \\| (?:((?:only|not) [^:]*): )?(.*) \\| (.*) \\|");
        for (std::smatch cells; std::getline(lines, line) && std::regex_match(line, cells, row);)
            if (holds(cells[1])) record(cells[2], cells[3]);
        return fields_;
    }
    void expect_end() const { EXPECT_EQ(next_, all_.size()); }

 private:
    bool holds(const std::string& condition) {
        if (condition.empty()) return true;
        if (condition.find("for the residual") != condition.npos)
            return condition.starts_with("not") != (known_["residual"] == "1");
        if (condition.find("`GROUP`") != condition.npos) return known_["type"] == "'GROUP'";
        static const std::regex word("\\w+");
        for (std::sregex_iterator at(condition.begin(), condition.end(), word), end; at != end;
             ++at)
            if (const auto named = known_.find(at->str());
                named != known_.end() && named->second != "0" && named->second != "F")
                return true;
        return false;
    }

    void record(const std::string& items, const std::string& n_bytes) {
        ASSERT_LT(next_, all_.size()) << items;
        rest_ = all_[next_++];
        EXPECT_EQ(Formula(n_bytes, known_).value(), static_cast<int64_t>(rest_.size())) << items;
        std::istringstream segments(items);
        for (std::string segment; std::getline(segments, segment, ';');)
            take_segment(segment.substr(0, segment.find(": ")));
        EXPECT_EQ(rest_, "") << items;
    }

    // A type and the names of its items, or a type and a constant.
    void take_segment(const std::string& segment) {
        static const std::regex types("^ ?(int64|int8|int|real32|real64|logical|char \\d+)\\b.*");
        std::smatch type;
        if (!std::regex_match(segment, type, types)) return;
        static const std::regex item("`(\\w+)`(?:\\(((?:[^()]|\\([^()]*\\))*)\\))?");
        std::sregex_iterator name(segment.begin(), segment.end(), item), end;
        if (name == end) element(type[1]);
        for (; name != end; ++name) {
            int64_t n = 1;
            std::stringstream shape((*name)[2].str());
            if (shape.str().starts_with("max("))
                n = Formula(shape.str(), known_).value();
            else
                for (std::string one; std::getline(shape, one, ',');)
                    n *= Formula(one, known_).value();
            std::string values;
            for (int64_t k = 0; k < n; ++k)
                values.append(k > 0 ? " " : "").append(element(type[1]));
            fields_[(*name)[1]] = known_[(*name)[1]] = values;
            const auto sign = signs_.find((*name)[1]);
            if (sign != signs_.end()) known_[sign->second] = values;
        }
    }

    std::string element(const std::string& type) {
        if (type == "int") return printed(numbers<int32_t>(cut(4)));
        if (type == "int8") return printed(numbers<int8_t>(cut(1)));
        if (type == "int64") return printed(numbers<int64_t>(cut(8)));
        if (type == "real32") return printed(numbers<float>(cut(4)));
        if (type == "real64") return printed(numbers<double>(cut(8)));
        if (type == "logical") {
            const std::string raw = printed(numbers<int32_t>(cut(4)));
            EXPECT_TRUE(raw == "0" || raw == "-1") << raw;
            return printed(raw == "-1");
        }
        const std::string chars = cut(std::stoul(type.substr(5)));
        EXPECT_EQ(chars.find('\0'), chars.npos);
        return chars.substr(0, chars.find_last_not_of(' ') + 1).insert(0, 1, '\'').append(1, '\'');
    }

    std::string cut(std::size_t n) {
        if (rest_.size() < n)
            throw std::runtime_error("a record is shorter than docs/files.md says");
        std::string piece = rest_.substr(0, n);
        rest_.erase(0, n);
        return piece;
    }

    const std::map<std::string, std::string> signs_{
        {"MAX_N_ABSORB", "A"}, {"MAX_N_REG", "MG"}, {"MAX_N_FIXED", "MF"}};
    std::vector<std::string> all_;
    std::size_t next_ = 0;
    std::string docs_, rest_;  // the record under way
    Fields fields_, known_;    // of the block; of all that formulas and conditions name
};

}  // namespace

Modinf decode_as_documented(const std::string& bytes) {
    DocumentedRecords in(bytes);
    Modinf all;
    all.head = in.block("## Head");
    Fields known = all.head;
    for (int i = 1; i <= std::stoi(known["nt"]); ++i)
        all.traits.push_back(in.block("## Trait block"));
    int members = 0;
    for (int k = 1; k <= std::stoi(known["NRAMAT"]); ++k) {
        all.matrices.push_back(in.block("## Matrix block", {{"residual", "0"}}));
        members = std::max(members, std::stoi(all.matrices.back()["n_traits"]));
    }
    all.matrices.push_back(in.block("## Matrix block", {{"residual", "1"}}));
    known["MG"] = known["MAX_N_REG"], known["MF"] = known["MAX_N_FIXED"];
    known["M"] = printed(members);
    known["type"] = all.matrices.back()["type"];
    known["grp_nlev"] = all.matrices.back()["grp_nlev"];
    all.tail = in.block("## Tail", known);
    in.expect_end();
    return all;
}
