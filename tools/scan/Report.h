// Reports of xelora-scan: the text printed to the terminal and the JSON of report.json, from the
// pipelines' results (timings, counts, accuracy against ground truth).
#ifndef XELORA_TOOLS_SCAN_REPORT_H
#define XELORA_TOOLS_SCAN_REPORT_H

#include <chrono>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "Pipeline.h"

namespace xscan {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0);
// printf-style formatting of one number, and an integer with thousands separators.
std::string fmt(const char* format, double v);
std::string withCommas(long v);

void printTimings(std::ostream& out, const std::vector<Timing>& timings);
// `targets`: also say whether the full-size default scene meets its accuracy targets.
void printDepthAccuracy(std::ostream& out, const DepthAccuracy& a, bool targets);
void printLaserAccuracy(std::ostream& out, const LaserAccuracy& a, bool targets);

Json depthAccuracyJson(const DepthAccuracy& a);
Json laserAccuracyJson(const LaserAccuracy& a);
Json structuredJson(const StructuredResult& r);
Json laserJson(const LaserResult& r);
// The "outputs" object: the files a command wrote.
Json outputsJson(bool structured, bool laser);

}  // namespace xscan

#endif
