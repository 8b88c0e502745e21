// The directive file: its lines on the data and the relatives, each below a comment.
#include <fmt/format.h>

#include <algorithm>

#include "kve/prep/made_files.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"

namespace kve::companion::prep {

namespace {

// Names in braces become the numbers of their columns, so that a model can be written by names.
std::string with_numbers(const std::string& text, const Layout& layout, const Recipe& recipe) {
    std::string numbered;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t open = text.find('{', at), close = text.find('}', open);
        if (open == text.npos || close == text.npos) return numbered + text.substr(at);
        const std::string name = text.substr(open + 1, close - open - 1);
        int number = 0;
        for (const std::vector<Place>* places : {&layout.integers, &layout.reals})
            for (const Place& place : *places)
                if (place.field->name == name || place.field->variable == name)
                    number = place.number;
        if (number == 0)
            throw Failure(kUsage, fmt::format("{}: the model names {}, which is no column that is "
                                              "written",
                                              recipe.file, name));
        numbered += text.substr(at, open - at) + std::to_string(number);
        at = close + 1;
    }
    return numbered;
}

std::string with_end(std::string text) {
    if (!text.ends_with('\n')) text += '\n';
    return text;
}

// A text that may hold anything, as a comment of one line.
std::string comment(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    if (text.ends_with('/')) text += '.';
    return "# " + text + "\n";
}

std::string variable_lines(const Layout& layout) {
    std::string text = "\n$VARIABLE\n";
    for (const auto& [places, kind] :
         {std::pair{&layout.integers, "integer"}, std::pair{&layout.reals, "real"}})
        for (const Place& place : *places) {
            const Field& field = *place.field;
            const char* where = field.role == Role::identity ? "; codes in ids.tsv"
                                : field.classes              ? "; names in classes.tsv"
                                                             : "";
            text += comment(fmt::format("{} {}: {}{}", kind, place.number, field.about, where));
            text += field.variable + "\n";
        }
    return text;
}

std::string model_lines(const Recipe& recipe, const Layout& layout) {
    if (!recipe.model.empty())
        return "\n" + comment("the model, as the recipe has it") + "$MODEL\n" +
               with_end(with_numbers(recipe.model, layout, recipe));
    return "\n# Fill in the model below $MODEL; docs/manual.md tells its lines:\n"
           "# number of traits; absorbed effects; class effects of each trait: real column, "
           "weight,\n"
           "# number of effects, integer columns; random effects; regressions; zero covariances.\n"
           "$MODEL\n";
}

std::string structure_lines(const Recipe& recipe, const FileNames& names) {
    const char* form = recipe.is_binary ? "BINARY" : "ASCII";
    std::string text;
    bool has_blend = false;
    for (std::size_t k = 0; k < recipe.matrices.size(); ++k) {
        const MatrixUse& use = recipe.matrices[k];
        std::string line = fmt::format("$VAR_STR {} {} ", use.factor, use.type);
        if (use.type == "PGMIX") {
            has_blend = true;
            line += fmt::format("{} {} {} {} {}", recipe.pedigree->method, form, names.pedigree,
                                names.typed, names.matrices[k]);
            if (use.weight || use.adjusts) line += fmt::format(" {}", use.weight.value_or(0.0));
            if (use.adjusts) line += " G-ADJUST";
        } else {
            if (use.type == "DOM" || use.type == "ABS_QTL")
                line += fmt::format("{} ", use.pedigree);
            line += fmt::format("{} {}", form, names.matrices[k]);
        }
        text += comment(fmt::format("random factor {}: {}", use.factor, use.file)) + line + "\n";
    }
    if (recipe.pedigree && !has_blend)
        text = comment(fmt::format("random factor {}: the pedigree {}", recipe.pedigree->factor,
                                   recipe.pedigree->file)) +
               fmt::format("$VAR_STR {} PED {} {} {}\n", recipe.pedigree->factor,
                           recipe.pedigree->method, form, names.pedigree) +
               text;
    return text.empty() ? text : "\n" + text;
}

}  // namespace

void write_directives(const Recipe& recipe, const Layout& layout, const FileNames& names,
                      const std::string& file) {
    std::string text = comment("Made by kve prep from " + recipe.file +
                               ". A line that begins with # is a comment.");
    if (!recipe.comment.empty()) text += "\n$COMMENT\n" + with_end(recipe.comment);
    text +=
        "\n" + comment("task, method, scaling, test print") + "$ANALYSE " + recipe.analyse + "\n\n";
    text += comment(
        fmt::format("{}: {} integers and {} reals a record; reals at or below {} are "
                    "missing, and so are integers of 0",
                    names.data, layout.integers.size(), layout.reals.size(), recipe.missing_code));
    std::string missing = fmt::format("{}", static_cast<float>(recipe.missing_code));
    if (missing.find_first_of(".e") == missing.npos) missing += ".0";
    text += fmt::format("$DATA {} ({},{},{}) {}\n", recipe.is_binary ? "BINARY" : "ASCII",
                        layout.integers.size(), layout.reals.size(), missing, names.data);
    text += variable_lines(layout) + model_lines(recipe, layout) + structure_lines(recipe, names);
    if (!recipe.prior.empty()) text += "\n$PRIOR\n" + with_end(recipe.prior);
    Output out(file);
    out.put(std::string_view(text));
    out.finish();
}

}  // namespace kve::companion::prep
