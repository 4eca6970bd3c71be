// Files of xelora-scan: the calibration JSON round trip, PNG and PLY files, atomic writes, and the
// errors (file, reason, exit status 2) for unusable inputs.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Commands.h"
#include "ScanIO.h"
#include "SensorHead.h"
#include "ToolsTestUtil.h"

using namespace xscan;

namespace {

Calibration headCalibration() {
    Calibration c;
    c.width = 1280;
    c.height = 1024;
    c.record = xsim::SensorHead::make(xsim::HeadOptions()).calibration();
    return c;
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::vector<std::string> filesIn(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0) names.push_back(e->d_name);
        closedir(d);
    }
    return names;
}

// Expects InputError naming `file` with `reason` in its reason.
template <class Fn>
void expectInputError(Fn fn, const std::string& file, const std::string& reason) {
    try {
        fn();
        ADD_FAILURE() << "no error for " << file;
    } catch (const InputError& e) {
        EXPECT_EQ(e.file(), file);
        EXPECT_NE(e.reason().find(reason), std::string::npos) << e.reason();
    }
}

// Runs xelora-scan with arguments; returns the exit status, stderr in `err`.
int runScan(const std::string& args, std::string& err, const std::string& errFile) {
    const std::string cmd = "'" + std::string(XELORA_SCAN_EXE) + "' " + args + " >/dev/null 2>'" + errFile + "'";
    const int st = std::system(cmd.c_str());
    std::ifstream in(errFile);
    std::stringstream ss;
    ss << in.rdbuf();
    err = ss.str();
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

}  // namespace

TEST(CalibrationJson, RoundTripIsBitExact) {
    toolstest::TempFolder tmp;
    Calibration c = headCalibration();
    c.offsetX = 16;
    c.offsetY = 8;
    writeCalibrationJson(tmp / "calib.json", c);
    const Calibration back = readCalibrationJson(tmp / "calib.json");
    EXPECT_EQ(back.width, 1280);
    EXPECT_EQ(back.height, 1024);
    EXPECT_EQ(back.offsetX, 16);
    EXPECT_EQ(back.offsetY, 8);
    EXPECT_EQ(std::memcmp(&back.record, &c.record, sizeof c.record), 0);
    // The fields are named as in the library's record.
    std::ifstream in(tmp / "calib.json");
    std::stringstream ss;
    ss << in.rdbuf();
    for (const char* f : {"\"K1\"", "\"Tinv\"", "\"RLine\"", "\"TLine\"", "\"F\"", "\"auxVector\""})
        EXPECT_NE(ss.str().find(f), std::string::npos) << f;
}

TEST(CalibrationJson, MalformedFilesAreRefusedWithTheReason) {
    const nlohmann::json good = nlohmann::json::parse(calibrationToJson(headCalibration()));
    expectInputError([&] { calibrationFromJson("{ \"K1\": [1, 2", "c.json"); }, "c.json", "malformed calibration JSON");
    expectInputError([&] { calibrationFromJson("[1, 2, 3]", "c.json"); }, "c.json", "not a JSON object");
    // One fault at a time in an otherwise good file.
    const struct {
        void (*spoil)(nlohmann::json&);
        const char* reason;
    } cases[] = {
        {[](nlohmann::json& j) { j.erase("Tinv"); }, "missing \"Tinv\""},
        {[](nlohmann::json& j) { j["image_width"] = "wide"; }, "\"image_width\" must be an integer"},
        {[](nlohmann::json& j) { j["F"].erase(0); }, "\"F\" must be an array of 9 numbers"},  // 8 numbers
        {[](nlohmann::json& j) { j["T"][1] = "x"; }, "\"T\"[1] is not a number"},
        {[](nlohmann::json& j) { j["K1"] = 2500.0; }, "\"K1\" must be an array of 9"},
        {[](nlohmann::json& j) { j["roi_offset_x"] = -4; }, "\"roi_offset_x\" must be an integer"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reason);
        nlohmann::json j = good;
        c.spoil(j);
        expectInputError([&] { calibrationFromJson(j.dump(), "c.json"); }, "c.json", c.reason);
    }
    // Without the optional ROI offsets the images start at the sensor's corner.
    nlohmann::json j = good;
    j.erase("roi_offset_x");
    j.erase("roi_offset_y");
    EXPECT_EQ(calibrationFromJson(j.dump(), "c.json").offsetX, 0);
    expectInputError([&] { readCalibrationJson("/nonexistent/calib.json"); }, "/nonexistent/calib.json", "cannot open");
    // The unchanged JSON text is accepted.
    EXPECT_EQ(calibrationFromJson(good.dump(), "c.json").width, 1280);
}

TEST(Files, PngPlyAndPfmRoundTrip) {
    toolstest::TempFolder tmp;
    std::vector<std::uint8_t> g(24 * 16);
    for (std::size_t i = 0; i < g.size(); ++i) g[i] = static_cast<std::uint8_t>(i * 7);
    writePngGrey8(tmp / "g.png", g.data(), 24, 16);
    EXPECT_EQ(readGreyPng(tmp / "g.png", 24, 16), g);
    expectInputError([&] { readGreyPng(tmp / "g.png", 24, 8); }, tmp / "g.png", "is 24 x 16, expected 24 x 8");
    std::vector<std::uint16_t> d(24 * 16);
    for (std::size_t i = 0; i < d.size(); ++i) d[i] = static_cast<std::uint16_t>(i * 211 + 3);
    writePngGrey16(tmp / "d.png", d.data(), 24, 16);
    int w = 0, h = 0;
    EXPECT_EQ(readPngGrey16(tmp / "d.png", w, h), d);
    expectInputError([&] { readGreyPng(tmp / "d.png", 24, 16); }, tmp / "d.png", "16-bit PNG");
    writeText(tmp / "junk.png", "this is not a picture");
    expectInputError([&] { readGreyPng(tmp / "junk.png", 24, 16); }, tmp / "junk.png", "not a readable PNG");

    const std::vector<ColouredPoint> pts = {{1.5f, -2.25f, 500.125f, 10, 20, 30}, {0, 0, 1e-3f, 255, 0, 7}};
    writePly(tmp / "c.ply", pts, true);
    bool coloured = false;
    const auto back = readPly(tmp / "c.ply", coloured);
    ASSERT_TRUE(coloured);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[0].x, 1.5f);
    EXPECT_EQ(back[0].y, -2.25f);
    EXPECT_EQ(back[0].z, 500.125f);
    EXPECT_EQ(back[1].b, 7);
    // Binary little endian, as standard tools expect: the float 1.5 is 00 00 c0 3f.
    std::ifstream in(tmp / "c.ply", std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::size_t body = bytes.find("end_header\n") + 11;
    EXPECT_EQ(bytes.substr(0, body).find("element vertex 2\n") != std::string::npos, true);
    EXPECT_EQ(static_cast<unsigned char>(bytes[body + 2]), 0xc0);
    EXPECT_EQ(static_cast<unsigned char>(bytes[body + 3]), 0x3f);

    const std::vector<float> f = {1, 2, 3, 4, 5, 6};
    writePfm(tmp / "f.pfm", f, 3, 2);
    EXPECT_EQ(readPfm(tmp / "f.pfm", w, h), f);
    EXPECT_EQ(w, 3);
    // Writes leave no temporary file behind.
    for (const auto& name : filesIn(tmp.path())) EXPECT_EQ(name.find(".partial"), std::string::npos) << name;
}

TEST(Files, WriteIntoAMissingFolderFailsWithoutLeavingAFile) {
    toolstest::TempFolder tmp;
    expectInputError([&] { writeFileAtomic(tmp / "no/such/file.txt", "x"); }, tmp / "no/such/file.txt", "cannot write");
    EXPECT_TRUE(filesIn(tmp.path()).empty());
}

TEST(Commands, BadInputsGiveTheFileAndReason) {
    toolstest::TempFolder tmp;
    writeCalibrationJson(tmp / "calib.json", headCalibration());
    makeFolder(tmp / "ten");
    std::vector<std::uint8_t> g(1280 * 1024, 9);
    for (int k = 0; k < 10; ++k) writePngGrey8(tmp / ("ten/p" + std::to_string(k) + ".png"), g.data(), 1280, 1024);
    StructuredCmdOptions st;
    st.cam1 = tmp / "ten";
    st.cam2 = tmp / "ten";
    st.calib = tmp / "calib.json";
    st.out = tmp / "out";
    std::ostringstream log;
    expectInputError([&] { runStructuredCmd(st, log); }, tmp / "ten", "holds 10 PNG images; expected 11");
    st.cam1 = tmp / "missing";
    expectInputError([&] { runStructuredCmd(st, log); }, tmp / "missing", "cannot open folder");
    // Nothing was written for the failed runs.
    EXPECT_TRUE(filesIn(tmp / "out").empty());

    SimOptions sim;
    sim.width = 100;
    expectInputError([&] { validate(sim); }, "--size", "multiples of 8");
    sim.width = 1280;
    sim.scene = "teapot";
    expectInputError([&] { validate(sim); }, "--scene", "unknown scene");
}

TEST(Commands, ProgramExitsWithStatusTwoOnUnusableInput) {
    toolstest::TempFolder tmp;
    writeCalibrationJson(tmp / "calib.json", headCalibration());
    std::vector<std::uint8_t> small(64 * 64, 100);
    writePngGrey8(tmp / "small.png", small.data(), 64, 64);
    writeText(tmp / "bad.json", "{\"image_width\": 1280}");
    std::string err;
    // A stripe image of the wrong size, a missing input file, a calibration without its matrices.
    const struct {
        const char* cam1;
        const char* calib;
        const char* message;
    } cases[] = {
        {"small.png", "calib.json", "small.png: image is 64 x 64, expected 1280 x 1024"},
        {"none.png", "calib.json", "none.png: cannot open"},
        {"small.png", "bad.json", "bad.json: malformed calibration"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(runScan("laser --cam1 '" + (tmp / c.cam1) + "' --cam2 '" + (tmp / "small.png") + "' --calib '" +
                              (tmp / c.calib) + "' --out '" + (tmp / "out") + "'",
                          err, tmp / "err.txt"),
                  2)
            << c.message;
        EXPECT_NE(err.find(c.message), std::string::npos) << err;
    }
    // Command-line errors.
    EXPECT_EQ(runScan("demo --size 1280by1024", err, tmp / "err.txt"), 2);
    EXPECT_EQ(runScan("structured --cam1 x", err, tmp / "err.txt"), 2);
    EXPECT_EQ(runScan("--no-such-option", err, tmp / "err.txt"), 2);
    // No output was produced by any of these runs.
    EXPECT_TRUE(filesIn(tmp / "out").empty());
}

TEST(Commands, DemoWritesEveryOutputAndAReport) {
    toolstest::TempFolder tmp;
    std::string err;
    ASSERT_EQ(runScan("demo --size 320x256 --out '" + (tmp / "demo") + "'", err, tmp / "err.txt"), 0) << err;
    for (const char* f : {"cloud.ply", "depth.png", "depth_preview.png", "laser_profile.ply", "report.json"})
        EXPECT_EQ(std::ifstream(tmp / (std::string("demo/") + f)).good(), true) << f;
    for (const auto& name : filesIn(tmp / "demo")) EXPECT_EQ(name.find(".partial"), std::string::npos) << name;
    std::ifstream in(tmp / "demo/report.json");
    const nlohmann::json rep = nlohmann::json::parse(in);
    EXPECT_EQ(rep["command"], "demo");
    EXPECT_EQ(rep["image"]["width"], 320);
    const double completeness = rep["structured"]["accuracy"]["completeness"];
    EXPECT_GT(completeness, 0.85);
    EXPECT_LT(rep["structured"]["accuracy"]["abs_error_mm"]["median"].get<double>(), 0.03);
    EXPECT_GT(rep["laser"]["profile_points"].get<int>(), 100);
    EXPECT_EQ(rep["outputs"]["depth_png_units_per_mm"], kDepthUnitsPerMm);
    // The preview is an 8-bit colour image of the same size.
    const Image preview = readPng(tmp / "demo/depth_preview.png");
    EXPECT_EQ(preview.width, 320);
    EXPECT_EQ(preview.height, 256);
}
