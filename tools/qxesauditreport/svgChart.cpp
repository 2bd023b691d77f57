#include "svgChart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "markupText.h"

namespace {

const int kWidth = 760;
const int kPlotHeight = 200;
const int kMarginLeft = 64, kMarginRight = 16, kMarginTop = 36, kMarginBottom = 44;
const int kBarRow = 22, kLabelColumn = 210;
const char kValueColour[] = "#3d6fa8", kPartColour[] = "#c8463d", kGridColour[] = "#d8dde3";

std::string Fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

double Top(const std::vector<SvgChart::Point>& points) {
    double top = 0;
    for (const SvgChart::Point& point : points) {
        top = std::max(top, point.value);
    }
    return SvgChart::niceCeiling(top);
}

}  // namespace

SvgChart::SvgChart(std::string id, std::string title, std::string unit, std::string partName)
    : m_id(std::move(id)),
      m_title(std::move(title)),
      m_unit(std::move(unit)),
      m_partName(std::move(partName)) {}

double SvgChart::niceCeiling(double value) {
    if (!(value > 0) || !std::isfinite(value)) {
        return 1;
    }
    const double power = std::pow(10.0, std::floor(std::log10(value)));
    for (double step : {1.0, 2.0, 5.0, 10.0}) {
        if (step * power >= value * (1 - 1e-12)) {
            return step * power;
        }
    }
    return 10 * power;
}

std::string SvgChart::number(double value) const {
    const bool whole = std::fabs(value - std::round(value)) < 1e-9;
    return Fixed(value, whole ? 0 : 1) + m_unit;
}

std::string SvgChart::open(int width, int height) const {
    const std::string size = std::to_string(width) + " " + std::to_string(height);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"chart\" data-chart=\"" + m_id +
           "\" role=\"img\" aria-labelledby=\"" + m_id + "-title\" viewBox=\"0 0 " + size +
           "\" width=\"" + std::to_string(width) + "\" height=\"" + std::to_string(height) +
           "\" font-family=\"sans-serif\" font-size=\"12\">\n<title id=\"" + m_id + "-title\">" +
           MarkupText::escape(m_title) + "</title>\n<text x=\"0\" y=\"18\" font-size=\"15\"" +
           " font-weight=\"bold\" fill=\"#1d2733\">" + MarkupText::escape(m_title) + "</text>\n";
}

std::string SvgChart::empty(int width) const {
    return open(width, 90) + "<text x=\"" + std::to_string(width / 2) +
           "\" y=\"60\" text-anchor=\"middle\" fill=\"#6b7785\">No data in this period</text>\n"
           "</svg>\n";
}

std::string SvgChart::valueAxis(double top, int left, int right, int y0, int height) const {
    std::string svg;
    for (int step = 0; step <= 4; ++step) {
        const double y = y0 - height * step / 4.0;
        svg += "<line x1=\"" + std::to_string(left) + "\" x2=\"" + std::to_string(right) +
               "\" y1=\"" + Fixed(y, 1) + "\" y2=\"" + Fixed(y, 1) + "\" stroke=\"" + kGridColour +
               "\"/>\n<text x=\"" + std::to_string(left - 6) + "\" y=\"" + Fixed(y + 4, 1) +
               "\" text-anchor=\"end\" fill=\"#4a5563\">" +
               MarkupText::escape(number(top * step / 4)) + "</text>\n";
    }
    return svg;
}

std::string SvgChart::timeLabels(const std::vector<Point>& points, int left, double band,
                                 int y) const {
    size_t longest = 1;
    for (const Point& point : points) {
        longest = std::max(longest, point.label.size());
    }
    // About 7 pixels per character and a gap between neighbours.
    const size_t every = std::max<size_t>(1, std::ceil((longest * 7.0 + 10) / band));
    std::string svg;
    for (size_t i = 0; i < points.size(); i += every) {
        svg += "<text x=\"" + Fixed(left + band * (i + 0.5), 1) + "\" y=\"" + std::to_string(y) +
               "\" text-anchor=\"middle\" fill=\"#4a5563\">" + MarkupText::escape(points[i].label) +
               "</text>\n";
    }
    return svg;
}

SvgChart::Plot SvgChart::plotFor(const std::vector<Point>& points) const {
    Plot plot;
    plot.y0 = kMarginTop + kPlotHeight;
    plot.right = kWidth - kMarginRight;
    plot.top = Top(points);
    plot.band = double(plot.right - kMarginLeft) / points.size();
    return plot;
}

std::string SvgChart::columns(const std::vector<Point>& points) const {
    if (points.empty()) {
        return empty(kWidth);
    }
    const Plot plot = plotFor(points);
    const int y0 = plot.y0, right = plot.right;
    const double top = plot.top, band = plot.band;
    std::string svg = open(kWidth, kMarginTop + kPlotHeight + kMarginBottom) +
                      valueAxis(top, kMarginLeft, right, y0, kPlotHeight);
    for (size_t i = 0; i < points.size(); ++i) {
        const Point& point = points[i];
        // Few columns stay slim, centred in their band; many get at least half a pixel.
        const double width = std::min(std::max(band * 0.8, 0.5), 48.0);
        const double x = kMarginLeft + band * (i + 0.5) - width / 2;
        const double h = kPlotHeight * point.value / top, part = kPlotHeight * point.part / top;
        std::string tip = point.label + ": " + number(point.value);
        if (!m_partName.empty()) {
            tip += ", " + m_partName + " " + number(point.part);
        }
        svg += "<g><title>" + MarkupText::escape(tip) + "</title><rect x=\"" + Fixed(x, 1) +
               "\" y=\"" + Fixed(y0 - h, 1) + "\" width=\"" + Fixed(width, 1) + "\" height=\"" +
               Fixed(h, 1) + "\" fill=\"" + kValueColour + "\"/>";
        if (point.part > 0) {
            svg += "<rect x=\"" + Fixed(x, 1) + "\" y=\"" + Fixed(y0 - part, 1) + "\" width=\"" +
                   Fixed(width, 1) + "\" height=\"" + Fixed(part, 1) + "\" fill=\"" + kPartColour +
                   "\"/>";
        }
        svg += "</g>\n";
    }
    svg += timeLabels(points, kMarginLeft, band, y0 + 18);
    if (!m_partName.empty()) {
        svg += "<rect x=\"" + std::to_string(right - 90) + "\" y=\"8\" width=\"10\" height=\"10\"" +
               " fill=\"" + kPartColour + "\"/><text x=\"" + std::to_string(right - 76) +
               "\" y=\"17\" fill=\"#4a5563\">" + MarkupText::escape(m_partName) + "</text>\n";
    }
    return svg + "</svg>\n";
}

std::string SvgChart::bars(const std::vector<Point>& points) const {
    if (points.empty()) {
        return empty(kWidth);
    }
    const int height = kMarginTop + kBarRow * static_cast<int>(points.size()) + 8;
    const int barSpace = kWidth - kLabelColumn - 90;
    const double top = Top(points);
    std::string svg = open(kWidth, height);
    for (size_t i = 0; i < points.size(); ++i) {
        const Point& point = points[i];
        const int y = kMarginTop + kBarRow * static_cast<int>(i);
        const double width = barSpace * point.value / top, part = barSpace * point.part / top;
        svg += "<g><title>" + MarkupText::escape(point.label + ": " + number(point.value)) +
               "</title><text x=\"" + std::to_string(kLabelColumn - 8) + "\" y=\"" +
               std::to_string(y + 14) + "\" text-anchor=\"end\" fill=\"#1d2733\">" +
               MarkupText::escape(MarkupText::shorten(point.label, 30)) + "</text><rect x=\"" +
               std::to_string(kLabelColumn) + "\" y=\"" + std::to_string(y + 3) + "\" width=\"" +
               Fixed(width, 1) + "\" height=\"" + std::to_string(kBarRow - 6) + "\" fill=\"" +
               kValueColour + "\"/>";
        if (point.part > 0) {
            svg += "<rect x=\"" + std::to_string(kLabelColumn) + "\" y=\"" + std::to_string(y + 3) +
                   "\" width=\"" + Fixed(part, 1) + "\" height=\"" + std::to_string(kBarRow - 6) +
                   "\" fill=\"" + kPartColour + "\"/>";
        }
        svg += "<text x=\"" + Fixed(kLabelColumn + width + 6, 1) + "\" y=\"" +
               std::to_string(y + 14) + "\" fill=\"#4a5563\">" +
               MarkupText::escape(number(point.value)) + "</text></g>\n";
    }
    return svg + "</svg>\n";
}

std::string SvgChart::line(const std::vector<Point>& points) const {
    if (points.empty()) {
        return empty(kWidth);
    }
    const Plot plot = plotFor(points);
    const int y0 = plot.y0, right = plot.right;
    const double top = plot.top, band = plot.band;
    std::string svg = open(kWidth, kMarginTop + kPlotHeight + kMarginBottom) +
                      valueAxis(top, kMarginLeft, right, y0, kPlotHeight);
    std::string path, marks;
    for (size_t i = 0; i < points.size(); ++i) {
        const double x = kMarginLeft + band * (i + 0.5);
        const double y = y0 - kPlotHeight * points[i].value / top;
        path += (i == 0 ? "M" : " L") + Fixed(x, 1) + " " + Fixed(y, 1);
        marks += "<circle cx=\"" + Fixed(x, 1) + "\" cy=\"" + Fixed(y, 1) + "\" r=\"3\" fill=\"" +
                 kPartColour + "\"><title>" +
                 MarkupText::escape(points[i].label + ": " + number(points[i].value)) +
                 "</title></circle>\n";
    }
    svg += "<path d=\"" + path + "\" fill=\"none\" stroke=\"" + kPartColour +
           "\" stroke-width=\"2\"/>\n" + marks + timeLabels(points, kMarginLeft, band, y0 + 18);
    return svg + "</svg>\n";
}
