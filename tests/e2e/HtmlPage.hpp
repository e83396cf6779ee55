#pragma once

#include <string>
#include <vector>

namespace kvo::test {

// What a page shows as text: its markup without the tags, references resolved.
std::string visibleText(const std::string& page);

// The values of `attribute` on the elements of an HTML page whose start tag
// begins with `tagStart` (e.g. `<circle class="found`), in page order.
std::vector<std::string> attributeValues(const std::string& page, const std::string& tagStart,
                                         const std::string& attribute);

// Each spectrum chart's trace as (x, y) points, in page order.
std::vector<std::vector<std::pair<double, double>>> spectrumTraces(const std::string& page);

}  // namespace kvo::test
