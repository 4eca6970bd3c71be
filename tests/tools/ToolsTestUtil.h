// Helpers of the tools tests: temporary folders and a shared small rendering.
#ifndef XELORA_TESTS_TOOLS_TOOLSTESTUTIL_H
#define XELORA_TESTS_TOOLS_TOOLSTESTUTIL_H

#include <cstdlib>
#include <string>

#include "Render.h"

namespace toolstest {

// A fresh empty folder under $TMPDIR (or /tmp), removed with its content when the object dies.
class TempFolder {
public:
    TempFolder() {
        const char* base = std::getenv("TMPDIR");
        std::string templ = std::string(base && *base ? base : "/tmp") + "/xelora-tools-test-XXXXXX";
        char* p = mkdtemp(&templ[0]);
        path_ = p ? p : "";
    }
    ~TempFolder() {
        if (!path_.empty()) std::system(("rm -rf '" + path_ + "'").c_str());
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Size of the reduced head used by the pipeline tests (the field of view of the full head).
constexpr int kSmallWidth = 320;
constexpr int kSmallHeight = 256;

struct SmallScan {
    xsim::SensorHead head;
    xsim::Scene scene;
    xsim::Rendering img;
};

// A head of w x h pixels (the full head's field of view) and the named scene at its working distance
// (no rendering).
inline SmallScan headAndScene(int w, int h, const char* scene) {
    SmallScan r;
    xsim::HeadOptions ho;
    ho.width = w;
    ho.height = h;
    r.head = xsim::SensorHead::make(ho);
    if (!xsim::Scene::make(scene, ho.workingDistance, r.scene)) std::abort();
    return r;
}

// The default scene at 320 x 256 with default noise, rendered once per test program.
inline const SmallScan& smallScan() {
    static const SmallScan s = [] {
        SmallScan r = headAndScene(kSmallWidth, kSmallHeight, "default");
        r.img = xsim::render(r.head, r.scene, xsim::RenderOptions());
        return r;
    }();
    return s;
}

}  // namespace toolstest

#endif
