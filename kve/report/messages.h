// What a run said in its listing and in KVE_LOG.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kve::companion {

struct Message {
    std::string text;    // the first of those that differ in numbers alone
    std::string shape;   // the text with all numbers alike
    std::string source;  // listing or KVE_LOG
    int64_t times = 1;
    bool is_error = false;
};

struct MessageFile {
    std::string name;
    bool is_there = false;
    bool has_more = false;  // messages of further kinds
    std::vector<Message> messages = {};
};

// The warnings and errors of a text that KVE1 has printed.
MessageFile read_messages(const std::filesystem::path& file, const std::string& source);

}  // namespace kve::companion
