#include "directives/dimensions.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/freeform.h"
#include "base/input.h"
#include "base/state.h"
#include "base/text.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "store/big_tables.h"

namespace kve {

WRITES(DIMENSIONS);

namespace {

// "IO-status = " shows which fault it was.
enum Fault { kUnreadable = 1, kUnknownName = 2, kBadForm = 3 };

[[noreturn]] void stop_reading(Fault fault, int code = 0) {
    if (code != 0) tell_not_read("KVEDIM", code);
    blank();
    say("ERROR READING KVEDIM");
    blank();
    say("IO-status = %12d", fault);
    blank();
    stop_run();
}

// The characters of the file one by one, without comments, which run from "!" to the line's end.
class Characters : public ByteInput {
 public:
    static constexpr int kEnd = -1;

    int peek() {
        for (;;) {
            if (at_ == end_ && !fill()) {
                if (error() != 0) stop_reading(kUnreadable, error());
                return kEnd;
            }
            if (*at_ == '!') in_comment_ = true;
            if (*at_ == '\n') in_comment_ = false;
            if (!in_comment_) return static_cast<unsigned char>(*at_);
            ++at_;
        }
    }
    int take() {
        int c = peek();
        if (c != kEnd) ++at_;
        return c;
    }

 private:
    bool in_comment_ = false;
};

bool is_space(int c) { return c == '\n' || is_blank(static_cast<char>(c)); }

void skip_spaces(Characters& in) {
    while (is_space(in.peek())) in.take();
}

bool ends_token(int c) {
    return c == Characters::kEnd || is_space(c) || c == ',' || c == '/' || c == '&' || c == '=' ||
           c == '(';
}

// A name or a value, in small letters; empty when something else stands here.
std::string take_token(Characters& in) {
    std::string token;
    while (!ends_token(in.peek())) token += static_cast<char>(std::tolower(in.take()));
    return token;
}

bool is_name(const std::string& token) {
    return !token.empty() && std::isalpha(static_cast<unsigned char>(token[0]));
}

// Past the head of the next group. Everything else, groups of other names too, is skipped.
bool find_group(Characters& in) {
    for (int c = in.take(); c != Characters::kEnd; c = in.take())
        if (c == '&' && take_token(in) == "kvedim") return true;
    return false;
}

Dimension& dimension_called(std::string_view name) {
    if (name == "mfl") return DIMENSIONS.MFL;
    if (name == "mdl") return DIMENSIONS.MDL;
    if (name == "maxnrm") return DIMENSIONS.MAXNRM;
    if (name == "maxzhz") return DIMENSIONS.MAXZHZ;
    if (name == "ifspwsp") return DIMENSIONS.IFSPWSP;
    if (name == "mgsgr") return DIMENSIONS.MGSGR;
    stop_reading(kUnknownName);
}

// "= value" after a name. When the value is left out, the token read in its place can be the name
// of the next item; it is returned then.
std::string read_value(Characters& in, const std::string& name) {
    if (!is_name(name)) stop_reading(kBadForm);
    Dimension& dimension = dimension_called(name);
    skip_spaces(in);
    if (in.peek() == Characters::kEnd) return "";
    if (in.take() != '=') stop_reading(kBadForm);
    skip_spaces(in);
    std::string token = take_token(in);
    if (token.empty()) return "";
    skip_spaces(in);
    if (in.peek() == '=' && is_name(token)) return token;
    int32_t value;
    if (!parse_number(token, value)) stop_reading(kBadForm);
    dimension.now = std::max(value, 1);
    return "";
}

// The items of a group up to its end, "/" or "&end", or to the end of the file.
void read_group(Characters& in) {
    for (;;) {
        while (is_space(in.peek()) || in.peek() == ',') in.take();
        if (in.peek() == Characters::kEnd) return;
        if (in.peek() == '/') return;
        if (in.peek() == '&') {
            in.take();
            if (take_token(in) != "end") stop_reading(kBadForm);
            return;
        }
        std::string name = take_token(in);
        do {
            name = read_value(in, name);
        } while (!name.empty());
    }
}

}  // namespace

void read_dimensions() {
    Characters in;
    int status = in.open_input("KVEDIM");
    if (status == ENOENT) return;
    if (status != 0) stop_reading(kUnreadable, status);
    while (find_group(in)) read_group(in);
}

}  // namespace kve
