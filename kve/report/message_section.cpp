#include "kve/report/sections.h"

namespace kve::companion {

namespace {

void add_messages(Section& section, const MessageFile& file) {
    for (const Message& m : file.messages)
        section.notes.push_back(
            {m.is_error ? Note::error : Note::warning, m.text, m.source, m.times});
    if (file.has_more)
        section.notes.push_back({Note::plain, "There are more kinds of messages in " + file.name});
}

}  // namespace

Section message_section(const RunFigures& figures) {
    Section section{.id = "warnings", .title = "Warnings"};
    for (const MessageFile* file : {&figures.listing, &figures.log}) add_messages(section, *file);
    if (section.notes.empty() && figures.listing.is_there && figures.log.is_there)
        section.notes.push_back(
            {Note::good, "Neither the listing nor KVE_LOG has a warning or an error."});
    else if (section.notes.empty())
        section.notes.push_back({Note::plain, "No warning was found, in what could be read."});
    if (!figures.listing.is_there)
        section.notes.push_back(
            {Note::plain,
             "The listing was not found in the folder of the run, or is that of another one, so "
             "that its warnings are not "
             "shown. Keep it in a file and name that with --listing FILE."});
    if (!figures.log.is_there)
        section.notes.push_back({Note::plain,
                                 "KVE_LOG is not in the folder of the run, so that the warnings of "
                                 "the model section are not shown."});
    for (const Gap& gap : figures.gaps)
        section.notes.push_back({Note::error, "Not shown: " + gap.what + ". " + gap.reason});
    return section;
}

}  // namespace kve::companion
