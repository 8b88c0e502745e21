// What nearly every test includes.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Expects that a statement stops the run with status 16 and that the listing holds a text then (a
// regular expression). The listing goes where a death test looks.
#define EXPECT_STOP(statement, words)             \
    EXPECT_EXIT(                                  \
        {                                         \
            ::dup2(STDERR_FILENO, STDOUT_FILENO); \
            statement;                            \
        },                                        \
        testing::ExitedWithCode(16), words)
