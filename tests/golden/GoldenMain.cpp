// xelora_golden OUT.bin            writes the golden dump of every exported member
// xelora_golden --diff A.bin B.bin  lists the records that differ between two dumps
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "Golden.h"

namespace golden {
namespace {

struct Record {
    Kind kind;
    std::vector<unsigned char> payload;
};

std::uint64_t readLE(const unsigned char* p, int n) {
    std::uint64_t v = 0;
    for (int b = n - 1; b >= 0; --b) v = (v << 8) | p[b];
    return v;
}

// Reads a dump into (order of names, records); false when the file is missing or malformed.
bool load(const std::string& path, std::vector<std::string>& order, std::map<std::string, Record>& recs) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    const std::vector<unsigned char> d((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (d.size() < 8 || std::memcmp(d.data(), "XLGOLD01", 8) != 0) return false;
    std::size_t p = 8;
    while (p < d.size()) {
        if (d.size() - p < 4) return false;
        const std::size_t nameLen = readLE(&d[p], 4);
        p += 4;
        if (d.size() - p < nameLen + 9) return false;
        std::string name(d.begin() + p, d.begin() + p + nameLen);
        p += nameLen;
        const Kind kind = static_cast<Kind>(d[p]);
        const std::uint64_t len = readLE(&d[p + 1], 8);
        p += 9;
        if (d.size() - p < len) return false;
        if (recs.count(name)) name += "#dup" + std::to_string(order.size());
        order.push_back(name);
        recs[name] = Record{kind, std::vector<unsigned char>(d.begin() + p, d.begin() + p + len)};
        p += len;
    }
    return true;
}

// Distance in units in the last place between two floats of the same kind, through the ordered
// integer image of their bits; NaN against a number counts as the largest distance.
template <typename U, typename F>
double ulpDistance(U a, U b) {
    F fa, fb;
    std::memcpy(&fa, &a, sizeof a);
    std::memcpy(&fb, &b, sizeof b);
    if (std::isnan(fa) || std::isnan(fb)) return std::isnan(fa) && std::isnan(fb) ? 0.0 : INFINITY;
    const U sign = U(1) << (8 * sizeof(U) - 1);
    const auto ordered = [sign](U u) -> long double {
        return (u & sign) ? -static_cast<long double>(u & ~sign) : static_cast<long double>(u);
    };
    return static_cast<double>(std::fabs(ordered(a) - ordered(b)));
}

}  // namespace

int diffDumps(const std::string& a, const std::string& b) {
    std::vector<std::string> orderA, orderB;
    std::map<std::string, Record> ra, rb;
    if (!load(a, orderA, ra) || !load(b, orderB, rb)) {
        std::cerr << "xelora_golden: cannot read " << (ra.empty() ? a : b) << " as a dump\n";
        return 2;
    }
    std::size_t differing = 0, onlyA = 0, onlyB = 0;
    for (const auto& name : orderA) {
        const auto it = rb.find(name);
        if (it == rb.end()) {
            std::cout << name << ": only in " << a << "\n";
            ++onlyA;
            continue;
        }
        const Record &x = ra[name], &y = it->second;
        if (x.kind == y.kind && x.payload == y.payload) continue;
        ++differing;
        const int es = elementSize(x.kind);
        if (x.kind != y.kind || x.payload.size() != y.payload.size()) {
            std::cout << name << ": " << x.payload.size() / es << " vs " << y.payload.size() / es
                      << " elements (kind " << int(x.kind) << " vs " << int(y.kind) << ")\n";
            continue;
        }
        std::size_t count = 0;
        double maxUlp = 0.0;
        for (std::size_t i = 0; i < x.payload.size(); i += es) {
            const std::uint64_t u = readLE(&x.payload[i], es), v = readLE(&y.payload[i], es);
            if (u == v) continue;
            ++count;
            if (x.kind == Kind::F32)
                maxUlp = std::fmax(maxUlp, ulpDistance<std::uint32_t, float>(std::uint32_t(u), std::uint32_t(v)));
            else if (x.kind == Kind::F64)
                maxUlp = std::fmax(maxUlp, ulpDistance<std::uint64_t, double>(u, v));
        }
        std::cout << name << ": " << count << " of " << x.payload.size() / es << " elements differ";
        if (x.kind == Kind::F32 || x.kind == Kind::F64) std::cout << ", max " << maxUlp << " ulp";
        std::cout << "\n";
    }
    for (const auto& name : orderB)
        if (!ra.count(name)) {
            std::cout << name << ": only in " << b << "\n";
            ++onlyB;
        }
    std::cout << "summary: " << orderA.size() << " records in " << a << ", " << orderB.size() << " in " << b
              << "; " << differing << " differ, " << onlyA << " only in the first, " << onlyB
              << " only in the second\n";
    return differing + onlyA + onlyB == 0 ? 0 : 1;
}

}  // namespace golden

int main(int argc, char** argv) {
    if (argc == 4 && std::string(argv[1]) == "--diff") return golden::diffDumps(argv[2], argv[3]);
    if (argc == 3 && std::string(argv[1]) == "--scramble-carried-fields") {
        golden::carriedFieldsScrambled = true;
        ++argv;
        --argc;
    }
    if (argc != 2 || argv[1][0] == '-') {
        std::cerr << "usage: xelora_golden [--scramble-carried-fields] OUT.bin\n"
                     "       xelora_golden --diff A.bin B.bin\n";
        return 2;
    }
    golden::Writer w;
    golden::dumpFrameAndStereo(w);
    golden::dumpFringe(w);
    golden::dumpDepthFilters(w);
    golden::dumpImaging(w);
    golden::dumpLaserLine(w);
    golden::dumpCloudAndFitting(w);
    golden::dumpFringePipeline(w);
    golden::dumpLinePipeline(w);
    std::ofstream out(argv[1], std::ios::binary);
    out.write(reinterpret_cast<const char*>(w.data().data()), static_cast<std::streamsize>(w.data().size()));
    if (!out) {
        std::cerr << "xelora_golden: cannot write " << argv[1] << "\n";
        return 2;
    }
    std::cout << "xelora_golden: " << w.records() << " records, " << w.data().size() << " bytes\n";
    return 0;
}
