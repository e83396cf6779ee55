#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vesk5::host {

// Text made safe inside markup and its attributes.
std::string markupEscape(std::string_view text);

// An SVG picture built shape by shape, for an HTML page to carry inline (where
// it needs no namespace). Shapes
// take a CSS class, which the page styles, and attributes of their own.
// Coordinates are written to a tenth of a unit.
class SvgWriter {
public:
    using Attributes = std::vector<std::pair<std::string, std::string>>;

    // `title` names the picture for screen readers and tooltips.
    SvgWriter(double width, double height, std::string_view cssClass, std::string_view title);

    void line(double x1, double y1, double x2, double y2, std::string_view cssClass,
              const Attributes& attributes = {});
    void rect(double x, double y, double width, double height, std::string_view cssClass,
              const Attributes& attributes = {});
    void circle(double x, double y, double radius, std::string_view cssClass,
                const Attributes& attributes = {});
    // `anchor`: start, middle or end.
    void text(double x, double y, std::string_view text, std::string_view cssClass,
              std::string_view anchor = "start", const Attributes& attributes = {});
    // Open, or closed and filled when the class fills it.
    void polyline(const std::vector<std::pair<double, double>>& points, std::string_view cssClass,
                  const Attributes& attributes = {});

    // The picture's markup; the writer is done after it.
    std::string finish();

private:
    void open(std::string_view element, std::string_view cssClass, const Attributes& attributes);

    std::string markup_;
};

}  // namespace vesk5::host
