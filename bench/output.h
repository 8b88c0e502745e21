// The files that the generators make.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

inline std::FILE* create(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        std::perror(path.c_str());
        std::exit(1);
    }
    return file;
}

inline void close(std::FILE* file) {
    if (std::ferror(file) != 0 || std::fclose(file) != 0) {
        std::perror("writing");
        std::exit(1);
    }
}
