#pragma once

#include <functional>
#include <string>
#include <vector>

namespace qsn::bench {

// What a row of the table says besides its figures. The texts are literals, or live as long as those.
struct RowText {
    const char* id;
    const char* ours;
    const char* beside;
    const char* floor;
    double goal;  // of ours : beside; 0: the row explains another one
};

struct Effort {
    int repetitions = 15;
    double seconds = 0.05;  // of one repetition at least
    int iterations = 0;     // of one repetition; 0: as many as the time takes
};

enum class Unit { kSeconds, kBytes, kCount, kPerSecond, kPercent };

struct Figures {
    double ours = 0;
    double beside = 0;
};

// A call that is timed as a whole, or one that returns those of its seconds that count.
using Step = std::function<void()>;
using TimedStep = std::function<double()>;
template <class Body>
struct Pair {
    Body ours;
    Body beside;
};

// `make` is called when the row's turn comes. What the pair holds lives until the row's end.
void AddPair(const RowText& text, const Effort& effort, std::function<Pair<Step>()> make);
void AddTimedPair(const RowText& text, const Effort& effort, std::function<Pair<TimedStep>()> make);
// Figures that are not times, or that need processes of their own.
void AddFigures(const RowText& text, Unit unit, std::function<Figures()> measure);

// The same thing at growing sizes. `seconds` is measured a few times for each.
struct Series {
    const char* id;
    const char* what;
    std::vector<int> sizes;
    std::function<double(int size)> seconds;
};
void AddSeries(Series series);

struct Options {
    std::string filter;  // part of an id; empty: all
    bool quick = false;  // only shows that everything runs; the figures mean little
    std::string folder = ".";
};

const Options& RunOptions();

// Writes the table to the standard output, and bench.json and growth.svg into the folder.
void Run(const Options& options);

double MedianOf(std::vector<double> values);
// Throws std::runtime_error.
void Require(bool succeeded, const char* what);
// The seconds that `step` takes.
double TimeOf(const Step& step);

}  // namespace qsn::bench
