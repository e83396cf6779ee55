#include "Sox.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "ShellRun.hpp"
#include "support/ShellQuote.hpp"

namespace kvo::test {

void soxMake(const std::string& path, const std::string& format, const std::string& effects) {
    outputOf("sox -D -n " + format + " " + shellQuoted(path) + " " + effects);
}

double soxInfo(const std::string& option, const std::string& path) {
    const std::string said = outputOf("soxi " + option + " " + shellQuoted(path));
    return said.empty() ? -1.0 : std::stod(said);
}

std::vector<double> soxStats(const std::string& path, const std::string& row,
                             std::size_t firstFrame) {
    const std::string command =
        "sox " + shellQuoted(path) + " -n trim " + std::to_string(firstFrame) + "s stats 2>&1";
    for (const std::string& line : textLines(outputOf(command))) {
        if (line.rfind(row, 0) == 0) {
            std::istringstream values(line.substr(row.size()));
            std::vector<double> figures;
            for (std::string value; values >> value;) {
                figures.push_back(std::stod(value));  // strtod reads "-inf"
            }
            return figures;
        }
    }
    ADD_FAILURE() << "no row " << row << " in the output of " << command;
    return {};
}

}  // namespace kvo::test
