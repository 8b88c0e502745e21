// The directive file: its lines on the data and the relatives, each below a comment.
#include <fmt/format.h>

#include <algorithm>

#include "kve/prep/made_files.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"

namespace kve::companion::prep {

namespace {

const char* name_of_form(const Recipe& recipe) { return recipe.is_binary ? "BINARY" : "ASCII"; }

// By its name in the recipe or in the directive file; 0 when no such column is written.
int find_number(const Layout& layout, const std::string& name) {
    int number = 0;
    for (const std::vector<Place>* places : {&layout.integers, &layout.reals})
        for (const Place& place : *places)
            if (place.field->name == name || place.field->variable == name) number = place.number;
    return number;
}

// Names in braces become the numbers of their columns, so that a model can be written by names.
std::string with_numbers(const std::string& text, const Layout& layout, const Recipe& recipe) {
    std::string numbered;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t open = text.find('{', at), close = text.find('}', open);
        if (open == text.npos || close == text.npos) return numbered + text.substr(at);
        const std::string name = text.substr(open + 1, close - open - 1);
        const int number = find_number(layout, name);
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

// What $VAR_STR says of a pedigree that is blended with a matrix of its typed animals.
std::string blend_words(const Recipe& recipe, const MatrixUse& use, const FileNames& names,
                        const std::string& matrix) {
    std::string words = fmt::format("{} {} {} {} {}", recipe.pedigree->method, name_of_form(recipe),
                                    names.pedigree, names.typed, matrix);
    if (use.weight || use.adjusts) words += fmt::format(" {}", use.weight.value_or(0.0));
    if (use.adjusts) words += " G-ADJUST";
    return words;
}

std::string matrix_words(const Recipe& recipe, const MatrixUse& use, const std::string& matrix) {
    std::string words;
    if (use.type == "DOM" || use.type == "ABS_QTL") words = fmt::format("{} ", use.pedigree);
    return words + fmt::format("{} {}", name_of_form(recipe), matrix);
}

std::string pedigree_line(const Recipe& recipe, const FileNames& names) {
    const PedigreeUse& use = *recipe.pedigree;
    return comment(fmt::format("random factor {}: the pedigree {}", use.factor, use.file)) +
           fmt::format("$VAR_STR {} PED {} {} {}\n", use.factor, use.method, name_of_form(recipe),
                       names.pedigree);
}

std::string structure_lines(const Recipe& recipe, const FileNames& names) {
    std::string text;
    bool has_blend = false;
    for (std::size_t k = 0; k < recipe.matrices.size(); ++k) {
        const MatrixUse& use = recipe.matrices[k];
        const bool is_blend = use.type == "PGMIX";
        const std::string words = is_blend ? blend_words(recipe, use, names, names.matrices[k])
                                           : matrix_words(recipe, use, names.matrices[k]);
        text += comment(fmt::format("random factor {}: {}", use.factor, use.file)) +
                fmt::format("$VAR_STR {} {} {}\n", use.factor, use.type, words);
        has_blend = has_blend || is_blend;
    }
    if (recipe.pedigree && !has_blend) text = pedigree_line(recipe, names) + text;
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
    text += fmt::format("$DATA {} ({},{},{}) {}\n", name_of_form(recipe), layout.integers.size(),
                        layout.reals.size(), missing, names.data);
    text += variable_lines(layout) + model_lines(recipe, layout) + structure_lines(recipe, names);
    if (!recipe.prior.empty()) text += "\n$PRIOR\n" + with_end(recipe.prior);
    Output out(file);
    out.put(std::string_view(text));
    out.finish();
}

}  // namespace kve::companion::prep
