#include "HtmlPage.hpp"

#include <regex>
#include <sstream>

namespace kvo::test {

std::string visibleText(const std::string& page) {
    std::string text = std::regex_replace(page, std::regex("<[^>]*>"), "");
    // &amp; last, so that "&amp;lt;" shows as "&lt;".
    for (const auto& [reference, character] : {std::pair{"&lt;", "<"},
                                               {"&gt;", ">"},
                                               {"&quot;", "\""},
                                               {"&#39;", "'"},
                                               {"&amp;", "&"}}) {
        text = std::regex_replace(text, std::regex(reference), character);
    }
    return text;
}

std::vector<std::string> attributeValues(const std::string& page, const std::string& tagStart,
                                         const std::string& attribute) {
    std::vector<std::string> values;
    const std::string key = " " + attribute + "=\"";
    for (std::size_t at = page.find(tagStart); at != std::string::npos;
         at = page.find(tagStart, at + 1)) {
        const std::size_t end = page.find('>', at);
        const std::size_t found = page.find(key, at);
        if (found == std::string::npos || found > end) {
            values.emplace_back();
            continue;
        }
        const std::size_t begin = found + key.size();
        values.push_back(page.substr(begin, page.find('"', begin) - begin));
    }
    return values;
}

std::vector<std::vector<std::pair<double, double>>> spectrumTraces(const std::string& page) {
    std::vector<std::vector<std::pair<double, double>>> traces;
    std::size_t chart = page.find("<svg class=\"spectrum\"");
    while (chart != std::string::npos) {
        const std::size_t next = page.find("<svg class=\"spectrum\"", chart + 1);
        const std::size_t trace = page.find("<polyline class=\"trace\"", chart);
        traces.emplace_back();
        if (trace != std::string::npos && trace < next) {
            const std::size_t begin = page.find("points=\"", trace) + 8;
            std::istringstream points(page.substr(begin, page.find('"', begin) - begin));
            double x = 0.0;
            double y = 0.0;
            char comma = 0;
            while (points >> x >> comma >> y) {
                traces.back().emplace_back(x, y);
            }
        }
        chart = next;
    }
    return traces;
}

}  // namespace kvo::test
