#include <array>
#include <cmath>

#include "Format.h"
#include "Runner.h"

namespace qsn::bench {
namespace {

// The decades of both axes, and their place on the picture.
constexpr int kSizeDecades = 5;       // 1 to 100,000
constexpr int kFirstTimeDecade = -5;  // 10 us
constexpr int kTimeDecades = 7;       // to 100 s
constexpr int kLeft = 70;
constexpr int kTop = 20;
constexpr int kDecadeWidth = 110;
constexpr int kDecadeHeight = 50;
constexpr int kBottom = kTop + kTimeDecades * kDecadeHeight;
constexpr int kRight = kLeft + kSizeDecades * kDecadeWidth;
constexpr std::array kColours{"#1f5fa8", "#b3541e", "#2f7d4f", "#6b4fa0"};
constexpr std::array kTimeNames{"10 us", "100 us", "1 ms", "10 ms", "100 ms", "1 s", "10 s", "100 s"};

double X(double size) { return kLeft + std::log10(size) * kDecadeWidth; }
double Y(double seconds) { return kBottom - (std::log10(seconds) - kFirstTimeDecade) * kDecadeHeight; }

std::string Grid() {
    std::string text;
    for (int decade = 0; decade <= kSizeDecades; ++decade) {
        const int x = kLeft + decade * kDecadeWidth;
        text += Format("<path class=\"grid\" d=\"M%d %dV%d\"/>", x, kTop, kBottom);
        text += Format("<text x=\"%d\" y=\"%d\" text-anchor=\"middle\">%.0f</text>\n", x, kBottom + 18,
                       std::pow(10, decade));
    }
    for (int decade = 0; decade <= kTimeDecades; ++decade) {
        const int y = kBottom - decade * kDecadeHeight;
        text += Format("<path class=\"grid\" d=\"M%d %dH%d\"/>", kLeft, y, kRight);
        text += Format("<text x=\"%d\" y=\"%d\" text-anchor=\"end\">%s</text>\n", kLeft - 8, y + 4,
                       kTimeNames[static_cast<std::size_t>(decade)]);
    }
    return text;
}

std::string Line(const SeriesResult& series, std::size_t index) {
    const char* const colour = kColours[index % kColours.size()];
    std::string points;
    std::string text;
    for (const Point& point : series.points) {
        points += Format("%.1f,%.1f ", X(point.size), Y(point.seconds));
        text +=
            Format("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3\" fill=\"%s\"/>", X(point.size), Y(point.seconds), colour);
    }
    text += Format("<polyline fill=\"none\" stroke=\"%s\" stroke-width=\"2\" points=\"", colour) + points + "\"/>";
    return text + Format("<text x=\"%d\" y=\"%d\" fill=\"%s\">%s: slope %.2f</text>\n", kLeft,
                         kBottom + 42 + static_cast<int>(index) * 18, colour, series.what, series.Slope());
}

}  // namespace

std::string GrowthPlot(const std::vector<SeriesResult>& series) {
    const int height = kBottom + 50 + static_cast<int>(series.size()) * 18;
    std::string text = Format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\" ", kRight + 40, height);
    text += "font-family=\"sans-serif\" font-size=\"12\">\n<title>Time by size, both logarithmic</title>\n";
    text += "<style>.grid{stroke:#d0d0d0}</style><rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" + Grid();
    for (std::size_t i = 0; i < series.size(); ++i) text += Line(series[i], i);
    return text + "</svg>\n";
}

}  // namespace qsn::bench
