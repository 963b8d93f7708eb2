#include <json/value.h>
#include <json/writer.h>

#include <array>
#include <cmath>

#include "Format.h"
#include "Runner.h"

namespace qsn::bench {
namespace {

struct Scale {
    double from;
    double factor;
    const char* unit;
};
constexpr std::array kTimes{Scale{1, 1, "s"}, Scale{1e-3, 1e3, "ms"}, Scale{1e-6, 1e6, "us"}, Scale{0, 1e9, "ns"}};

std::string TimeText(double seconds) {
    for (const Scale& scale : kTimes) {
        if (seconds >= scale.from) return Format("%.3g %s", seconds * scale.factor, scale.unit);
    }
    return "0";
}

std::string FigureText(Unit unit, double value) {
    switch (unit) {
        case Unit::kSeconds: return TimeText(value);
        case Unit::kBytes: return Format("%.0f bytes", value);
        case Unit::kCount: return Format("%.0f", value);
        case Unit::kPerSecond: return Format("%.1f / s", value);
        default: return Format("%.3f %%", value);
    }
}

const char* UnitName(Unit unit) {
    constexpr std::array kNames{"s", "bytes", "count", "1/s", "%"};
    return kNames[static_cast<std::size_t>(unit)];
}

Json::Value Numbers(const std::vector<double>& values) {
    Json::Value list(Json::arrayValue);
    for (double value : values) list.append(value);
    return list;
}

Json::Value RowJson(const RowResult& row) {
    Json::Value object;
    object["id"] = row.text.id;
    object["ours"]["what"] = row.text.ours;
    object["ours"]["median"] = MedianOf(row.ours);
    object["ours"]["repetitions"] = Numbers(row.ours);
    object["beside"]["what"] = row.text.beside;
    object["beside"]["median"] = MedianOf(row.beside);
    object["beside"]["repetitions"] = Numbers(row.beside);
    object["unit"] = UnitName(row.unit);
    object["ratio"] = row.Ratio();
    if (row.text.goal != 0) object["goal"] = row.text.goal;
    return object;
}

Json::Value SeriesJson(const SeriesResult& series) {
    Json::Value object;
    object["id"] = series.id;
    object["slope"] = series.Slope();
    for (const Point& point : series.points) {
        Json::Value entry;
        entry["size"] = point.size;
        entry["seconds"] = point.seconds;
        object["points"].append(entry);
    }
    return object;
}

}  // namespace

double SeriesResult::Slope() const {
    double x = 0;
    double y = 0;
    double xx = 0;
    double xy = 0;
    for (const Point& point : points) {
        const double logSize = std::log(point.size);
        const double logTime = std::log(point.seconds);
        x += logSize;
        y += logTime;
        xx += logSize * logSize;
        xy += logSize * logTime;
    }
    const auto count = static_cast<double>(points.size());
    return (count * xy - x * y) / (count * xx - x * x);
}

std::string TableHead() {
    return "| row | ours | beside it | ours | beside | ratio | goal | floor |\n|---|---|---|---|---|---|---|---|\n";
}

std::string TableLine(const RowResult& row) {
    const std::string goal = row.text.goal == 0 ? "" : Format("%.2f", row.text.goal);
    return Format("| %s | %s | %s | %s | %s | %.2f | %s%s | %s |\n", row.text.id, row.text.ours, row.text.beside,
                  FigureText(row.unit, MedianOf(row.ours)).c_str(), FigureText(row.unit, MedianOf(row.beside)).c_str(),
                  row.Ratio(), goal.c_str(), row.text.goal != 0 && row.Ratio() > row.text.goal ? ", missed" : "",
                  row.text.floor);
}

std::string GrowthTable(const std::vector<SeriesResult>& series) {
    std::string text = "| growth | times | slope |\n|---|---|---|\n";
    for (const SeriesResult& line : series) {
        std::string times;
        for (const Point& point : line.points) {
            times += Format("%s%d: %s", times.empty() ? "" : ", ", point.size, TimeText(point.seconds).c_str());
        }
        text += Format("| %s | ", line.what) + times + Format(" | %.2f |\n", line.Slope());
    }
    return text;
}

std::string ToJson(const std::vector<RowResult>& rows, const std::vector<SeriesResult>& series) {
    Json::Value root;
    root["rows"] = Json::arrayValue;
    root["growth"] = Json::arrayValue;
    for (const RowResult& row : rows) root["rows"].append(RowJson(row));
    for (const SeriesResult& line : series) root["growth"].append(SeriesJson(line));
    return Json::writeString(Json::StreamWriterBuilder(), root) + "\n";
}

}  // namespace qsn::bench
