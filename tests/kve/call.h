// A command of kve in the folder of a scratch.
#pragma once

#include <sys/wait.h>

#include "program/run.h"

struct Shown {
    int status;
    std::string out, words;
};

inline Shown kve(const Scratch& scratch, const std::string& arguments) {
    const std::string folder = scratch.folder().string();
    const int raw = std::system(
        ("cd '" + folder + "' && '" KVE_PROGRAM "' " + arguments + " >shown 2>words").c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw), scratch.read("shown"),
            scratch.read("words")};
}
