#include "SvgWriter.hpp"

#include <fmt/format.h>

namespace vesk5::host {
namespace {

std::string number(double value) {
    std::string text = fmt::format("{:.1f}", value);
    if (text.size() > 2 && text.compare(text.size() - 2, 2, ".0") == 0) {
        text.resize(text.size() - 2);
    }
    return text == "-0" ? "0" : text;
}

}  // namespace

std::string markupEscape(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

SvgWriter::SvgWriter(double width, double height, std::string_view cssClass,
                     std::string_view title) {
    markup_ = fmt::format(
        "<svg class=\"{}\" viewBox=\"0 0 {} {}\" "
        "width=\"{}\" height=\"{}\" role=\"img\"><title>{}</title>",
        markupEscape(cssClass), number(width), number(height), number(width), number(height),
        markupEscape(title));
}

void SvgWriter::open(std::string_view element, std::string_view cssClass,
                     const Attributes& attributes) {
    markup_ += fmt::format("<{} class=\"{}\"", element, markupEscape(cssClass));
    for (const auto& [name, value] : attributes) {
        markup_ += fmt::format(" {}=\"{}\"", name, markupEscape(value));
    }
}

void SvgWriter::line(double x1, double y1, double x2, double y2, std::string_view cssClass,
                     const Attributes& attributes) {
    open("line", cssClass, attributes);
    markup_ += fmt::format(" x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\"/>", number(x1), number(y1),
                           number(x2), number(y2));
}

void SvgWriter::rect(double x, double y, double width, double height, std::string_view cssClass,
                     const Attributes& attributes) {
    open("rect", cssClass, attributes);
    markup_ += fmt::format(" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>", number(x), number(y),
                           number(width), number(height));
}

void SvgWriter::circle(double x, double y, double radius, std::string_view cssClass,
                       const Attributes& attributes) {
    open("circle", cssClass, attributes);
    markup_ += fmt::format(" cx=\"{}\" cy=\"{}\" r=\"{}\"/>", number(x), number(y), number(radius));
}

void SvgWriter::text(double x, double y, std::string_view text, std::string_view cssClass,
                     std::string_view anchor, const Attributes& attributes) {
    open("text", cssClass, attributes);
    markup_ += fmt::format(" x=\"{}\" y=\"{}\" text-anchor=\"{}\">{}</text>", number(x), number(y),
                           markupEscape(anchor), markupEscape(text));
}

void SvgWriter::polyline(const std::vector<std::pair<double, double>>& points,
                         std::string_view cssClass, const Attributes& attributes) {
    open("polyline", cssClass, attributes);
    markup_ += " points=\"";
    for (std::size_t i = 0; i < points.size(); ++i) {
        markup_ += fmt::format("{}{},{}", i == 0 ? "" : " ", number(points[i].first),
                               number(points[i].second));
    }
    markup_ += "\"/>";
}

std::string SvgWriter::finish() {
    markup_ += "</svg>";
    return std::move(markup_);
}

}  // namespace vesk5::host
