// One chart of the report drawn as inline SVG: no script, no fonts or images
// to fetch. Every chart is an <svg class="chart" data-chart="ID"> element with
// a title, and a note instead of marks when there is nothing to draw.
//   SvgChart chart("requests-per-day", "Requests per day");
//   std::string svg = chart.columns({{"2011-03-04", 120, 7}, {"2011-03-05", 98, 2}});
#pragma once

#include <string>
#include <vector>

class SvgChart {
  public:
    // One labelled value; `part` is the share of it drawn in the second
    // colour (the failures of a day's requests), 0 for none.
    struct Point {
        std::string label;
        double value = 0;
        double part = 0;
    };

    // `unit` follows every value shown ("%", " ms"); `partName` names the part.
    SvgChart(std::string id, std::string title, std::string unit = "", std::string partName = "");

    // Vertical columns in the order given, for a time axis.
    std::string columns(const std::vector<Point>& points) const;
    // Horizontal bars with their labels, for a ranked list.
    std::string bars(const std::vector<Point>& points) const;
    // A line through the points, for a rate over time.
    std::string line(const std::vector<Point>& points) const;

    // The smallest of 1, 2 or 5 times a power of ten that is at least `value`.
    static double niceCeiling(double value);

  private:
    // Where column and line charts draw: the baseline, the right edge, the
    // value at the top and the width each point gets.
    struct Plot {
        int y0 = 0;
        int right = 0;
        double top = 0;
        double band = 0;
    };
    Plot plotFor(const std::vector<Point>& points) const;
    std::string open(int width, int height) const;
    std::string empty(int width) const;
    std::string number(double value) const;
    // The value axis: gridlines and labels from 0 to `top`.
    std::string valueAxis(double top, int left, int right, int y0, int height) const;
    // Labels under a time axis, thinned out so that they never overlap.
    std::string timeLabels(const std::vector<Point>& points, int left, double band, int y) const;

    std::string m_id, m_title, m_unit, m_partName;
};
