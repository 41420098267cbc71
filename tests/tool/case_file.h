#ifndef VELORIX_TESTS_TOOL_CASE_FILE_H
#define VELORIX_TESTS_TOOL_CASE_FILE_H
/*
 * Command-line cases as text. A case file starts with what all its cases share; "== name" starts a
 * case. Directives, each on a line of its own:
 *
 *   @run WORDS...        the command; program of the build and its arguments
 *   @file NAME           the following lines are the content of this file (none: an empty file)
 *   @bytes NAME          the same with \n, \r, \\ and \xHH escapes, line ends dropped
 *   @heap NAME KIND      a grid file of synthetic_grids.h
 *   @folder NAME         an empty folder
 *   @set KEY = VALUE     replaces the line of this key in velorix.toml, or adds one at its end
 *   @drop KEY            removes the line of this key from velorix.toml
 *   @env NAME=VALUE      environment variable
 *   @in FILE             standard input
 *   @to KIND             standard output: full-device, pipe-without-reader or closed
 *   @out, @err           the following lines are all that standard output or error must hold
 *   @grids NAME...       standard output must be exactly these grids
 *   @status N            exit status, 0 when absent
 */
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "program.h"

namespace velorix_test {

struct Case {
    std::string name;
    std::map<std::string, std::string> files;
    std::vector<std::string> folders;
    Command command;
    std::string input_file;
    std::string out;
    std::string err;
    std::optional<std::vector<std::string>> grids;
    int status = 0;
};

/// All cases of all case files of a folder; throws std::runtime_error naming file and line.
std::vector<Case> read_cases(const std::string& folder);

}  // namespace velorix_test
#endif
