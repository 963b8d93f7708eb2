#pragma once

#include <string>
#include <vector>

#include "Rows.h"

namespace qsn::bench {

struct RowResult {
    RowText text;
    Unit unit;
    std::vector<double> ours;  // of each repetition
    std::vector<double> beside;

    double Ratio() const { return MedianOf(ours) / MedianOf(beside); }
};

struct Point {
    int size;
    double seconds;
};
struct SeriesResult {
    const char* id;
    const char* what;
    std::vector<Point> points;

    // By least squares over the logarithms: 1 if the time grows as the size does.
    double Slope() const;
};

std::string TableHead();
std::string TableLine(const RowResult& row);
std::string GrowthTable(const std::vector<SeriesResult>& series);
std::string GrowthPlot(const std::vector<SeriesResult>& series);
std::string ToJson(const std::vector<RowResult>& rows, const std::vector<SeriesResult>& series);

}  // namespace qsn::bench
