// What KVE1 has said itself, as findings: the pieces of that work.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "kve/check/look.h"

namespace kve::companion {

// Of words that KVE1 has said: without "ERROR - " and the like in front; what stands behind a mark,
// and the integer there.
std::string without_head(const std::string& words);
std::string text_after(const std::string& words, std::string_view mark);
int64_t number_after(const std::string& words, std::string_view mark);
std::string first_word(const std::string& text);

// Words that go on after an empty line have no head of their own.
bool is_told_as_error(const Said& said);

// Which code a message has, by words in it.
struct CodeOfWords {
    std::string_view mark;
    const char* code;
};
// Of the first mark that the words have; null without one.
const char* find_code(std::span<const CodeOfWords> codes, const std::string& words);

// A message of the directives, with its place.
void tell_directive_fault(Look& look, const Said& said);
// What has stopped the reading of the model.
void tell_model_stop(Look& look, const Stop& stop);
// A message of the priors.
void tell_prior_words(Look& look, const Said& said);
// Elements that the model does not have; their words stand in KVE_LOG.
void tell_places_outside(Look& look);

// The keyword line, or a word of its section; the last line without the keyword.
Place place_of_keyword(const Look& look, Keyword keyword, std::string_view word = {});

// The line at which the reader has met a keyword that it does not know, and the one most like it.
int64_t line_of_unknown_keyword(const Look& look, const Said& said);
std::string similar_keyword(std::string_view word);

}  // namespace kve::companion
