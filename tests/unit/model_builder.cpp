#include "model_builder.h"

#include "model/covariance_structure.h"
#include "model/model_parser.h"
#include "reports/dump.h"

using namespace kve;
using state::DIRECTIVES, state::KVEINT, state::MODEL, state::UNITS;

void name_columns() {
    constexpr int kColumns = 9;
    DIRECTIVES.NI = DIRECTIVES.NR = kColumns;
    ASSERT_EQ(DIRECTIVES.NAME_I.allocate(kColumns + 1) + DIRECTIVES.NAME_R.allocate(kColumns) +
                  DIRECTIVES.IS_MIXTURE.allocate(kColumns),
              0);
    DIRECTIVES.NAME_I(0) = "Mu";
    for (int c = 1; c <= kColumns; ++c) {
        const char digit = static_cast<char>('0' + c);
        DIRECTIVES.NAME_I(c) = std::string{'I', digit};
        DIRECTIVES.NAME_R(c) = std::string{'R', digit};
    }
}

void build_model(const std::vector<Submodel>& traits) {
    name_columns();
    KVEINT = ModelCounts{};
    DIRECTIVES.reduce_file = "";
    std::string absorbed, models, random, regressions, reduce;
    int trait = 0;
    for (const Submodel& given : traits) {
        absorbed += "0\n";
        models += std::to_string(++trait) + " 0 " + given.effects + "\n";
        random += given.random + "\n";
        regressions += given.regressions + "\n";
        reduce += given.reduce + "\n";
        if (!given.reduce.empty()) DIRECTIVES.reduce_file = "KVE1.reduce";
    }
    std::ofstream("model.txt") << trait << "\n"
                               << absorbed << models << random << regressions << "0\n";
    std::ofstream("KVE1.reduce") << reduce;
    ASSERT_EQ(UNITS.model_text.open("model.txt") + UNITS.reduced_ranks.open("KVE1.reduce"), 0);
    const int32_t task = std::exchange(DIRECTIVES.ITASK, kVarianceComponents);
    parse_model();
    DIRECTIVES.ITASK = task;
}

void derive_model(const std::vector<Submodel>& traits) {
    build_model(traits);
    derive_covariance_structure();
}

ModelTest::ModelTest() : before_(std::filesystem::current_path()) {
    std::string name = (std::filesystem::temp_directory_path() / "kve-unit-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    DIRECTIVES = Directives{};
    folder_ = name;
    std::filesystem::current_path(folder_);
    static_cast<void>(open_log());
}

ModelTest::~ModelTest() {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(folder_);
}

void expect_fields(const std::vector<std::string>& expected, const std::string& about) {
    const std::string dump =
        std::regex_replace(listing_of(dump_model_records), std::regex(" +"), " ") + "\n";
    for (const std::string& fields : expected) {
        const std::string title = fields.substr(0, fields.find(':'));
        const std::size_t begin = dump.find("\n " + title);
        const std::string record = dump.substr(begin, dump.find("\n\n", begin) + 1 - begin);
        std::istringstream items(fields.substr(title.size() + 1));
        for (std::string item; std::getline(items, item, ';');)
            EXPECT_NE(record.find("\n" + item + "\n"), record.npos)
                << title << ":" << item << ", " << about << record;
    }
}

std::string content_of(const char* file) {
    std::ifstream from(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(from), {}};
}

std::string folded(const std::string& text) {
    return std::regex_replace(text, std::regex("\\s+"), " ");
}

std::string listing_of(const std::function<void()>& call) {
    testing::internal::CaptureStdout();
    call();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}
