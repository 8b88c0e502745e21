// What is read out of a listing and of KVE_LOG: messages, the reason of a stop, counts.
#include "kve/files/listing_words.h"
#include "kve/report/messages.h"
#include "program/run.h"

namespace {

using namespace kve::companion;

std::string page_of(const MessageFile& file) {
    std::string all;
    for (const Message& m : file.messages)
        all += text("%ld%s ", static_cast<long>(m.times), m.is_error ? "!" : "") + m.text + "\n";
    return all;
}

TEST(Messages, AreFoundWithTheLinesThatBelongToThem) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"all is well\n no WARNING here\n", ""},
        {"  WARNING :   ID =\t7 occurs   twice  \r\n", "1 WARNING : ID = 7 occurs twice\n"},
        {"Error - a\n  ERROR - b\n", "1! Error - a\n1! ERROR - b\n"},
        // Numbers do not make another message; words do.
        {"WARNING 7 of 12\nWARNING 305 of 1\nWARNING 7 or 12\n",
         "2 WARNING 7 of 12\n1 WARNING 7 or 12\n"},
        // Lines that are indented by four to twelve columns more go on, five at most.
        {"WARNING - a\n    b\n   c\n", "1 WARNING - a\nb\n"},
        {"WARNING - a\n            b\n             c\n", "1 WARNING - a\nb\n"},
        {"  WARNING - a\n     b\n      c\n", "1 WARNING - a\n"},
        {"WARNING - a\n    b\n\n    c\n", "1 WARNING - a\nb\n"},
        {"WARNING - a\n     ERROR - b\n", "1 WARNING - a\n1! ERROR - b\n"},
        {"WARNING - a\n" + times(7, "     b\n"), "1 WARNING - a" + times(5, "\nb") + "\n"},
        {"WARNING - a\n1KVE1V6   page 2\n     b\n", "1 WARNING - a\nb\n"},
        // The words of a banner stand below it, with a blank line between them at most.
        {"WARNING WARNING, WARNING\n\n  a\n  b\n\n  c\n", "1 WARNING\na\nb\n"},
        {"WARNING WARNING\n\n\n  a\n", "1 WARNING\n"},
        {"WARNING WARNING\nERROR - b\n", "1 WARNING\n1! ERROR - b\n"},
        {"WARNING " + std::string(700, 'x') + "\n",
         "1 WARNING " + std::string(592, 'x') + " ...\n"},
    };
    const Scratch scratch;
    for (const auto& [bytes, expected] : cases) {
        scratch.write("listing", bytes);
        const MessageFile found = read_messages(scratch.folder() / "listing", "listing");
        EXPECT_TRUE(found.is_there);
        EXPECT_EQ(page_of(found), expected) << bytes;
    }
    std::string many;
    for (int n = 0; n < 100; ++n)
        many += "WARNING - " + std::string(static_cast<std::size_t>(n + 1), 'x') + "\n";
    for (const bool has_more : {false, true}) {
        scratch.write("log", many + (has_more ? "WARNING - another\n" : "WARNING - x\n"));
        const MessageFile found = read_messages(scratch.folder() / "log", "KVE_LOG");
        EXPECT_EQ(found.messages.size(), 100);
        EXPECT_EQ(found.messages[0].source, "KVE_LOG");
        EXPECT_EQ(found.messages[0].times, has_more ? 1 : 2);
        EXPECT_EQ(found.has_more, has_more);
    }
    EXPECT_FALSE(read_messages(scratch.folder() / "none", "listing").is_there);
    EXPECT_FALSE(read_messages(scratch.folder(), "listing").is_there);
}

std::string reason_of(const std::string& listing) {
    const Scratch scratch;
    scratch.write("listing", listing);
    std::string all;
    for (const std::string& line : find_reason(read_listing(scratch.folder() / "listing")))
        all += line + "|";
    return all;
}

TEST(Listing, TellsWhyTheRunHasStopped) {
    const std::string head = "1KVE1V6     Multivariate Mixed Model Package    2026-11-22\n",
                      end = "\nProgram terminates\n";
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {end, ""},
        // The last message, with those right above it and what follows it.
        {"  ERROR - a\n    more\n" + end, "ERROR - a|  more|"},
        {"ERROR - far\n\nERROR - a\n ERROR - b\n" + end, "ERROR - a|ERROR - b|"},
        {"ERROR - a\n\n\n  17 is no level\n" + end, "ERROR - a|  17 is no level|"},
        {" ** Problem with b ** \n" + end, "** Problem with b **|"},
        // Page heads are blank lines.
        {"ERROR - a\n" + head + "of it\n" + end, "ERROR - a|of it|"},
        // Without a message the last paragraph.
        {"first\n\nlast\n of all\n" + end, "last| of all|"},
        // A message more than six paragraphs away is none of the stop.
        {"ERROR - a\n\n" + times(6, "x\n\n") + "last\n" + end, "last|"},
        // All faults of a directive file, each to its blank line.
        {"ERROR - a\n  more\n\nplain\n\nERROR - b\n\nERROR(S) FOUND IN DIRECTIVE FILE\n" + end,
         "ERROR - a|  more|ERROR - b|"},
        // The faults of the model stand at the end of the copy of KVE_LOG.
        {"ERROR - first\n\nERROR(S) found in model directives\n\n  Model\n\nERROR - "
         "Reading\n\nLine read:\n0\n" +
             end,
         "ERROR - Reading|Line read:|0|"},
        {"ERROR - first\n\nERROR(S) found in model directives\n\n  Model\n" + end,
         "ERROR - first|"},
        // A closing line is not the reason.
        {"ERROR - a\n\nERROR(s) found\n" + end, "ERROR - a|"},
    };
    for (const auto& [listing, expected] : cases)
        EXPECT_EQ(reason_of(listing), expected) << listing;
}

TEST(Listing, TellsTheCountsOfTheData) {
    const Scratch scratch;
    scratch.write(
        "listing",
        "No of Datapoints dropped for X   9\n SUMMARY OF DATA FILE\n No of records processed "
        ".............  120\n"
        "No of Datapoints dropped for MILK     3\nNo of Datapoints dropped for FAT YIE   11\n\n"
        "DEPENDENT VARIABLES (TRAITS)\n\n Trait    Input   No\n"
        "MILK       1     100\nFAT YIE    2      75\nKG\n   Total no of fixed levels ....    12\n");
    const std::vector<std::string> listing = read_listing(scratch.folder() / "listing");
    const ListedData found = find_data_figures(listing);
    EXPECT_EQ(found.records, 120);
    std::string traits;
    for (const TraitRecords& t : found.traits)
        traits +=
            t.name + text(": %ld %ld, ", static_cast<long>(t.used), static_cast<long>(t.dropped));
    EXPECT_EQ(traits, "MILK: 100 3, FAT YIE: 75 11, ");
    EXPECT_TRUE(find_data_figures({}).traits.empty());
    EXPECT_TRUE(
        find_data_figures({"SUMMARY OF DATA FILE", "DEPENDENT VARIABLES (TRAITS)"}).traits.empty());
    EXPECT_EQ(find_fixed_equations({"a", " Total no of fixed levels 12"}), 12);
    EXPECT_EQ(find_fixed_equations({"a"}), 0);
}

}  // namespace
