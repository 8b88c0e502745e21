// What the fuzzers share: stages and whole runs that follow each other in one process, in a scratch
// folder of its own, which TMPDIR can place.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

// Runs stages from fresh tables until they return or stop. The status that the program would leave
// with, 0 for stages that return. Descriptors left open are a finding.
int run_fresh(void (*stages)());

// The scratch folder, made and entered by the first call, without the files of the run before.
void empty_scratch_folder();
void write_file(const std::string& name, std::string_view content);
void read_standard_input_from(const std::string& name);
void send_listing_to(const std::string& name);

// An input file without a folder. The descriptor stays valid until the next call.
int memory_file(std::string_view content);

// A finding that the sanitizers cannot see.
inline void require(bool holds) {
    if (!holds) std::abort();
}

// What libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count);

inline std::string_view as_text(const uint8_t* bytes, size_t count) {
    return {reinterpret_cast<const char*>(bytes), count};
}
