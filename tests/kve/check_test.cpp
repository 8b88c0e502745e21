// kve check on faulty analyses: tests/check/ has them, with what must be found. All findings of a
// case stand there, so that one too many is noticed as one too few is.
#include <sys/wait.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "program/run.h"

namespace {

namespace fs = std::filesystem;

struct Shown {
    int status;
    std::string out, words;
};

// In the folder, as a user would.
Shown kve(const Scratch& scratch, const std::string& arguments) {
    const Scratch beside;
    const std::string folder = beside.folder().string();
    const int raw =
        std::system(("cd '" + scratch.folder().string() + "' && exec '" KVE_PROGRAM "' " +
                     arguments + " >'" + folder + "/out' 2>'" + folder + "/words'")
                        .c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw), beside.read("out"),
            beside.read("words")};
}

struct Edit {
    std::string file, before, after;
    bool is_pattern = false;  // `before` is one, and all places are edited
};

struct Case {
    std::string title;
    std::string example;  // folder of the analysis
    std::vector<Edit> edits{};
    std::set<std::string> findings{};  // "! code file:line" an error, "+" a warning, "." a note
    std::vector<std::string> words{};  // that stand on the screen, too
};

std::string unescaped(const std::string& text) {
    std::string out;
    for (std::size_t k = 0; k < text.size(); ++k) {
        if (text[k] != '\\' || k + 1 == text.size()) {
            out += text[k];
            continue;
        }
        const char next = text[++k];
        if (next == 'x') {
            out += static_cast<char>(std::stoi(text.substr(k + 1, 2), nullptr, 16));
            k += 2;
            continue;
        }
        out += next == 'n' ? '\n' : next == 't' ? '\t' : next == 'r' ? '\r' : next;
    }
    return out;
}

// "  FILE: old -> new"
Edit edit_in(const std::string& line) {
    const std::size_t colon = line.find(':');
    std::string rest = line.substr(colon + 1);
    if (rest.starts_with(' ')) rest.erase(0, 1);
    Edit edit{.file = line.substr(2, colon - 2), .before = {}, .after = {}};
    const std::size_t arrow = (rest + " ").find(" -> ");
    if (arrow == rest.npos) {
        edit.after = unescaped(rest);
        return edit;
    }
    edit.is_pattern = arrow > 2 && rest[0] == '/' && rest[arrow - 1] == '/';
    edit.before = edit.is_pattern ? rest.substr(1, arrow - 2) : unescaped(rest.substr(0, arrow));
    edit.after = arrow + 4 > rest.size() ? "" : unescaped(rest.substr(arrow + 4));
    return edit;
}

std::vector<Case> cases_in(const fs::path& file) {
    std::vector<Case> cases;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        if (line[0] != ' ')
            cases.push_back({line, line.substr(0, line.find(':'))});
        else if (line.starts_with("  > "))
            cases.back().words.push_back(unescaped(line.substr(4)));
        else if (line[3] == ' ' && std::string_view("!+.").find(line[2]) != std::string_view::npos)
            cases.back().findings.insert(line.substr(2));
        else
            cases.back().edits.push_back(edit_in(line));
    }
    return cases;
}

std::string directive_file(const Scratch& scratch, const Case& one) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(scratch.folder()))
        if (entry.path().extension() == ".kve") names.insert(entry.path().filename());
    for (const Edit& edit : one.edits)
        if (names.contains(edit.file)) return edit.file;
    return *names.begin();
}

void prepare(const Scratch& scratch, const Case& one) {
    fs::copy(fs::path(KVE1_EXAMPLES) / one.example, scratch.folder());
    for (const auto& [file, before, after, is_pattern] : one.edits) {
        std::string text = scratch.read(file);
        if (is_pattern) {
            const std::regex pattern(before, std::regex::multiline);
            ASSERT_TRUE(std::regex_search(text, pattern)) << one.title << ": no " << before;
            scratch.write(file, std::regex_replace(text, pattern, after));
            continue;
        }
        const std::size_t at = before.empty() ? text.size() : text.find(before);
        ASSERT_NE(at, text.npos) << one.title << ": there is no " << before;
        scratch.write(file, text.replace(at, before.size(), after));
    }
}

// "! code file:line" of all findings.
std::set<std::string> findings_in(const std::string& shown) {
    static const std::regex finding(
        R"(^([^:\n]+)(?::(\d+))?(?::\d+)?: (error|warning|note): .*\[([a-z0-9-]+)\]$)",
        std::regex::multiline);
    std::set<std::string> found;
    for (std::sregex_iterator it(shown.begin(), shown.end(), finding), end; it != end; ++it) {
        const std::string severity = it->str(3) == "error"  ? "! "
                                     : it->str(3) == "note" ? ". "
                                                            : "+ ";
        found.insert(severity + it->str(4) + " " + it->str(1) + ":" +
                     (it->length(2) > 0 ? it->str(2) : std::string("0")));
    }
    return found;
}

std::string code_in(const std::string& finding) {
    return finding.substr(2, finding.find(' ', 2) - 2);
}

// The example itself has notes, which a fault elsewhere does not change but for their place.
std::set<std::string> without_notes_of(const std::string& example, std::set<std::string> found) {
    static std::map<std::string, std::set<std::string>> known;
    if (!known.contains(example)) {
        const Scratch scratch;
        fs::copy(fs::path(KVE1_EXAMPLES) / example, scratch.folder());
        for (const std::string& note :
             findings_in(kve(scratch, "check " + directive_file(scratch, {})).out))
            known[example].insert(code_in(note));
    }
    std::erase_if(found, [&](const std::string& finding) {
        return finding[0] == '.' && known[example].contains(code_in(finding));
    });
    return found;
}

std::map<std::string, fs::file_time_type> files_of(const Scratch& scratch) {
    std::map<std::string, fs::file_time_type> files;
    for (const auto& entry : fs::directory_iterator(scratch.folder()))
        files[entry.path().filename()] = entry.last_write_time();
    return files;
}

class CheckCorpus : public testing::TestWithParam<std::string> {};

TEST_P(CheckCorpus, FindsWhatIsWrongAndNothingElse) {
    for (const Case& one : cases_in(fs::path(KVE1_CASES) / GetParam())) {
        const Scratch scratch;
        prepare(scratch, one);
        const auto before = files_of(scratch);
        const Shown shown = kve(scratch, "check " + directive_file(scratch, one));
        EXPECT_EQ(without_notes_of(one.example, findings_in(shown.out)), one.findings)
            << one.title << "\n"
            << shown.out;
        for (const std::string& words : one.words)
            EXPECT_NE(shown.out.find(words), shown.out.npos)
                << one.title << ": not said is " << words << "\n"
                << shown.out;
        EXPECT_EQ(shown.status, shown.out.find(": error: ") != shown.out.npos ? 1 : 0) << one.title;
        EXPECT_EQ(shown.words, "") << one.title;
        EXPECT_EQ(files_of(scratch), before) << one.title << ": the folder is left as it was";
    }
}

std::vector<std::string> case_files() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(KVE1_CASES))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}
INSTANTIATE_TEST_SUITE_P(Files, CheckCorpus, testing::ValuesIn(case_files()));

TEST(Check, TellsFindingsAndModelToProgramsToo) {
    const Scratch scratch;
    prepare(scratch, {"", "dairy", {{"dairy.kve", "$PRIOR", "$PRIORS"}}});
    const auto all = nlohmann::json::parse(kve(scratch, "check dairy.kve --json").out);
    const nlohmann::json findings = all.at("findings");
    const auto found = std::ranges::find_if(
        findings, [](const auto& finding) { return finding.at("code") == "unknown-keyword"; });
    ASSERT_NE(found, findings.end());
    const nlohmann::json finding = *found;
    EXPECT_EQ(finding.at("severity"), "error");
    EXPECT_EQ(finding.at("line"), 30);
    EXPECT_EQ(finding.at("column"), 1);
    EXPECT_EQ(finding.at("message"), "$PRIORS is no keyword; did you mean $PRIOR?");
    const nlohmann::json model = all.at("model");
    EXPECT_EQ(model.at("traits").at(0).at("formula"),
              "MILK = HERDYEAR + LACT + AGE(LACT) + COW:1 + COW:2");
    EXPECT_EQ(model.at("factors").at(0).at("rows").at(1).at("variance"), 400);
    const std::string shown = kve(scratch, "check dairy.kve").out;
    EXPECT_NE(shown.find("  1 PED method 1 dairy.ped; 1 MILK COW 400000, 2 PROTEIN COW 400\n"),
              shown.npos)
        << shown;
}

TEST(Check, TellsUsersWhatItCannotRead) {
    const Scratch scratch;
    scratch.write("bytes", std::string("\0\xff$\n$DATA \xfe(", 12));
    const std::tuple<const char*, int, const char*> calls[] = {
        {"check", 2, "FILE is required"}, {"check nowhere.kve", 3, "nowhere.kve: No such file"},
        {"check .", 3, "it is a folder"}, {"check bytes", 1, ""},
        {"check /dev/null", 1, ""},       {"explain effect-cuont", 2, "did you mean effect-count?"},
    };
    for (const auto& [arguments, status, words] : calls) {
        const Shown shown = kve(scratch, arguments);
        EXPECT_EQ(shown.status, status) << arguments << shown.words;
        EXPECT_NE(shown.words.find(words), shown.words.npos) << arguments << shown.words;
    }
}

TEST(Check, SaysOnceWhatManyLinesShare) {
    const Scratch scratch;
    prepare(scratch, {"", "groups", {{"sheep.dat", R"(^(  11.*\d)\.(\d)$)", "$1,$2", true}}});
    const std::string shown = kve(scratch, "check sheep.kve").out;
    static const std::regex finding(
        R"(; so in (\d+) lines, \d+-\d+ \[decimal-comma\]\n(    .*\n))");
    std::smatch found;
    ASSERT_TRUE(std::regex_search(shown, found, finding)) << shown;
    const std::string hint = found[2];
    EXPECT_EQ(shown.find(hint), shown.rfind(hint)) << shown;
    EXPECT_EQ(shown.find("of this kind"), shown.npos) << shown;
    const auto all = nlohmann::json::parse(kve(scratch, "check sheep.kve --json").out);
    const nlohmann::json findings = all.at("findings");
    EXPECT_EQ(std::ranges::count_if(findings,
                                    [](const auto& f) { return f.at("code") == "decimal-comma"; }),
              std::stoi(found[1]));
}

// The pigs with the genotype of another one each, as it comes out of a laboratory.
TEST(Check, MixedUpSamplesShowInTheGenomicMatrix) {
    const Scratch whole;
    prepare(whole, {"", "genomic"});
    std::map<std::pair<int, int>, std::string> g;
    std::istringstream elements(whole.read("pigs.gen")), list(whole.read("pigs.typed"));
    std::vector<int> typed;
    std::string value;
    for (int i = 0, j = 0; elements >> i >> j >> value;) g[{i, j}] = g[{j, i}] = value;
    for (int id = 0; list >> id;) typed.push_back(id);
    using Genotypes = std::map<int, int>;
    Genotypes in_other_order;
    for (std::size_t k = 0; k < typed.size(); ++k)
        in_other_order[typed[k]] = typed[(k + 20) % typed.size()];
    // 1343 is a parent of 1437 and 1438.
    const std::tuple<const char*, Genotypes, std::set<std::string>, std::set<std::string>> cases[] =
        {{"none", {}, {}, {"parent-misfit", "same-sample", "genomic-correlation", "sample-misfit"}},
         {"exchanged",
          {{1343, 1337}, {1337, 1343}},
          {"parent-misfit", "sample-misfit"},
          {"same-sample"}},
         {"twice", {{1343, 1337}}, {"parent-misfit", "same-sample"}, {"genomic-correlation"}},
         {"all", in_other_order, {"genomic-correlation"}, {"parent-misfit", "same-sample"}}};
    for (const auto& [title, genotypes, found, not_found] : cases) {
        const Scratch scratch;
        prepare(scratch, {"", "genomic"});
        const auto genotype_of = [&](int id) {
            return genotypes.contains(id) ? genotypes.at(id) : id;
        };
        std::string mixed;
        for (const int i : typed)
            for (const int j : typed)
                if (j <= i)
                    mixed += text("%d %d ", i, j) + g.at({genotype_of(i), genotype_of(j)}) + "\n";
        scratch.write("pigs.gen", mixed);
        std::set<std::string> codes;
        const std::string shown = kve(scratch, "check pigs.kve").out;
        for (const std::string& finding : findings_in(shown)) codes.insert(code_in(finding));
        for (const std::string& code : found) EXPECT_TRUE(codes.contains(code)) << title << shown;
        for (const std::string& code : not_found)
            EXPECT_FALSE(codes.contains(code)) << title << shown;
    }
}

// ---- What no edit of an example makes

// Four integers and two reals a record, as the example has them in text.
std::string framed_data(const std::string& text) {
    std::istringstream in(text);
    std::string all;
    for (std::string line; std::getline(in, line);) {
        std::istringstream items(line);
        std::vector<int32_t> integers(4);
        std::vector<float> reals(2);
        for (int32_t& value : integers) items >> value;
        for (float& value : reals) items >> value;
        all += framed(bytes_of(integers) + bytes_of(reals));
    }
    return all;
}

std::string framed_pedigree(const std::string& text) {
    std::istringstream in(text);
    std::string all;
    for (std::vector<int32_t> record(4); in >> record[0] >> record[1] >> record[2] >> record[3];)
        all += framed(bytes_of(record));
    return all;
}

std::string with(std::string text, const std::string& before, const std::string& after) {
    const std::size_t at = text.find(before);
    EXPECT_NE(at, text.npos) << before;
    return text.replace(at, before.size(), after);
}

// In binary files the number of the record stands in the words; a line cannot be told.
TEST(Check, BinaryFilesAreLookedAtLikeTexts) {
    const Scratch example;
    prepare(example, {"", "groups"});
    const std::string text = example.read("sheep.dat"), data = framed_data(text),
                      pedigree = framed_pedigree(example.read("sheep.ped"));
    constexpr std::size_t kRecord = 32;  // of the data
    const auto framed_with = [&text](const char* before, const char* after) {
        return framed_data(with(text, before, after));
    };
    const std::tuple<const char*, std::string, std::string, std::set<std::string>, const char*>
        cases[] = {
            {"nothing is wrong", data, pedigree, {}, "0 errors, 0 warnings, 0 notes"},
            {"a text", text, pedigree, {"! data-form sheep.dat:0"}, "Is it a text file?"},
            {"the second record is cut",
             data.substr(0, kRecord + 20),
             pedigree,
             {"! data-form sheep.dat:0"},
             "record 2 is none"},
            {"a byte too many in the third",
             data.substr(0, 2 * kRecord) + framed(std::string(25, '\1')) + data.substr(3 * kRecord),
             pedigree,
             {},
             "record 3 has 25 bytes, and only the 24 of 6 values are read"},
            {"a value less in the third",
             data.substr(0, 2 * kRecord) + framed(std::string(20, '\1')) + data.substr(3 * kRecord),
             pedigree,
             {},
             "record 3 has 20 bytes, and 6 values need 24"},
            {"a decimal point lost",
             framed_with("86   19.1", "86   1910"),
             pedigree,
             {"+ far-value sheep.dat:0"},
             "record 3: WEANWT is 1910"},
            {"a class that is missing",
             framed_with("1078  12014 2", "1078  12014 0"),
             pedigree,
             {},
             "record 3: SEX is 0 here, beside 1, 2; dropped are 1 of the 770 with WEANWT"},
            {"a pedigree that is cut",
             data,
             pedigree.substr(0, 24 * 700 + 10),
             {"! pedigree-record sheep.ped:0"},
             "record 701 is cut"},
            {"a pedigree that is a text",
             data,
             example.read("sheep.ped"),
             {"! pedigree-record sheep.ped:0"},
             "Perhaps the file is a text"},
        };
    for (const auto& [title, records, animals, findings, words] : cases) {
        const Scratch scratch;
        prepare(scratch, {"", "groups", {{"sheep.kve", "ASCII", "BINARY", true}}});
        scratch.write("sheep.dat", records);
        scratch.write("sheep.ped", animals);
        const std::string shown = kve(scratch, "check sheep.kve").out;
        if (!findings.empty()) {
            EXPECT_EQ(findings_in(shown), findings) << title << "\n" << shown;
        }
        EXPECT_NE(shown.find(words), shown.npos) << title << "\n" << shown;
    }
}

TEST(Check, NothingMayStandInTheWayOfTheOutputs) {
    const Scratch scratch;
    prepare(scratch, {"", "dairy"});
    fs::create_directory(scratch.folder() / "AINV1");
    fs::create_symlink("dairy.ped", scratch.folder() / "MODINF");
    const std::string shown = kve(scratch, "check dairy.kve").out;
    std::set<std::string> found = findings_in(shown);
    std::erase_if(found, [](const std::string& finding) { return finding[0] == '.'; });
    EXPECT_EQ(found,
              (std::set<std::string>{"! output-blocked AINV1:0", "! shared-file dairy.kve:28"}))
        << shown;
}

// What is too large is said to be, and costs nothing.
TEST(Check, TellsWhatItDoesNotLookAt) {
    const Scratch scratch;
    prepare(scratch, {"", "groups"});
    std::string data;
    for (int k = 0; k < 4000; ++k)
        data += text("%d %d %d %d %d %d\n", 1076 + k % 700, 1 + k % 1600, 1 + k % 2,
                     1 + 7 * k % 1601, 80 + k % 40, 20 + k * k % 17);
    scratch.write("sheep.dat", data);
    const std::string of_model = kve(scratch, "check sheep.kve").out;
    EXPECT_TRUE(findings_in(of_model).contains(". not-looked-at sheep.kve:19")) << of_model;

    const Scratch genomic;
    prepare(genomic, {"", "genomic"});
    std::string pedigree = genomic.read("pigs.ped"), typed;
    for (int id = 10001; id <= 15001; ++id) {
        pedigree += text("%d 0 0 1\n", id);
        typed += text("%d\n", id);
    }
    genomic.write("pigs.ped", pedigree);
    genomic.write("pigs.typed", typed);
    const std::string of_matrix = kve(genomic, "check pigs.kve").out;
    EXPECT_TRUE(findings_in(of_matrix).contains(". matrix-size pigs.gen:0")) << of_matrix;
}

// The screen has 20 of a kind with the number of all, --json 1000.
TEST(Check, ShowsTheFirstOfMany) {
    const Scratch scratch;
    prepare(scratch, {"", "dairy", {{"dairy.dat", R"(^ (\d+))", "x$1", true}}});
    const std::string shown = kve(scratch, "check dairy.kve").out;
    EXPECT_NE(shown.find("3801 findings of this kind, 20 are shown [not-a-number]\n"), shown.npos)
        << shown;
    EXPECT_NE(shown.find("\n3803 errors, 0 warnings, 0 notes\n"), shown.npos) << shown;
    const auto all = nlohmann::json::parse(kve(scratch, "check dairy.kve --json").out);
    EXPECT_EQ(std::ranges::count_if(all.at("findings"),
                                    [](const auto& f) { return f.at("code") == "not-a-number"; }),
              1000);
    const std::string fast = kve(scratch, "check dairy.kve --fast").out;
    EXPECT_NE(fast.find("Of each file the first 100000 lines were read\n"), fast.npos);
}

// Names count from the folder of the user, not from that of the directive file.
TEST(Check, TellsThatAFileStandsBesideTheDirectives) {
    const Scratch scratch;
    prepare(scratch, {"", "groups"});
    fs::create_directory(scratch.folder() / "analysis");
    for (const char* name : {"sheep.kve", "sheep.ped"})
        fs::rename(scratch.folder() / name, scratch.folder() / "analysis" / name);
    const std::string shown = kve(scratch, "check analysis/sheep.kve").out;
    EXPECT_NE(
        shown.find("analysis/sheep.kve:24:30: error: there is no file sheep.ped [file-missing]\n"
                   "    It stands beside analysis/sheep.kve: names count from the folder in "
                   "which KVE1 runs\n"),
        shown.npos)
        << shown;
}

// A code without a section of docs/findings.md could not be told.
TEST(Check, EveryCodeIsExplained) {
    const Scratch scratch;
    const std::string list = "\n" + kve(scratch, "explain").out;
    const std::regex code("[(,{] ?\"([a-z]+(?:-[a-z0-9]+)+)\"");
    int n = 0;
    for (const auto& entry : fs::directory_iterator(fs::path(KVE1_CASES) / "../../kve/check")) {
        std::ifstream file(entry.path());
        const std::string source{std::istreambuf_iterator<char>(file), {}};
        for (std::sregex_iterator it(source.begin(), source.end(), code), end; it != end; ++it, ++n)
            EXPECT_NE(list.find("\n" + it->str(1) + "\n"), list.npos) << it->str(1);
    }
    EXPECT_EQ(kve(scratch, "explain zero-covariances").out.find("# Priors"), std::string::npos);
    EXPECT_GT(n, 60);
    EXPECT_NE(kve(scratch, "explain nesting").out.find("becomes a general regression"),
              std::string::npos);
}

}  // namespace
