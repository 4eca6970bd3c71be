// The subcommands of xelora-scan as functions (the program's main only parses the command line),
// one file each: DemoCommand.cpp, SimulateCommand.cpp, StructuredCommand.cpp, LaserCommand.cpp.
//
// Every command prints its report to `out`, writes its files atomically into its output folder and
// throws InputError for a problem with an input (the program then exits with status 2).
#ifndef XELORA_TOOLS_SCAN_COMMANDS_H
#define XELORA_TOOLS_SCAN_COMMANDS_H

#include <ostream>
#include <string>

#include "CommandIO.h"
#include "Pipeline.h"

namespace xscan {

struct DemoOptions {
    SimOptions sim;
    std::string out = "xelora-out";
    int patterns = 11;       // 11: DecGrayPhase1 set, 18: DecGrayPhase2 set
    bool diagnose = false;   // print where the structured-light errors come from, stage by stage
};

struct SimulateOptions {
    SimOptions sim;
    std::string out;
};

struct StructuredCmdOptions {
    std::string cam1, cam2, calib, out, colour, truth;  // colour and truth optional
};

struct LaserCmdOptions {
    std::string cam1, cam2, calib, out, truth;  // truth optional
};

int runDemo(const DemoOptions& options, std::ostream& out);
int runSimulate(const SimulateOptions& options, std::ostream& out);
int runStructuredCmd(const StructuredCmdOptions& options, std::ostream& out);
int runLaserCmd(const LaserCmdOptions& options, std::ostream& out);

}  // namespace xscan

#endif
