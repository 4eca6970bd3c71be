// The --diagnose report of xelora-scan's demo: where the structured-light and laser-line errors of a
// scan of the virtual head come from, stage by stage, against the rendering's ground truth.
#ifndef XELORA_TOOLS_SCAN_DIAGNOSE_H
#define XELORA_TOOLS_SCAN_DIAGNOSE_H

#include <ostream>
#include <string>

#include "Pipeline.h"
#include "Render.h"

namespace xscan {

// Decoded phase against the true phase, the geometry stages run on the true phase
// (triangulatePhases), the raw point map, and a breakdown of the missing points; also writes
// diagnosis_points.png into `folder`.
void diagnoseStructured(std::ostream& out, const Calibration& calib, const xsim::Rendering& img,
                        const StructuredResult& result, const StructuredOptions& options, const std::string& folder);

// Stripe extraction against the true stripe centres, and the profile of the true centres in the rows
// that MatchLine paired.
void diagnoseLaser(std::ostream& out, const Calibration& calib, const xsim::SensorHead& head,
                   const xsim::Scene& scene, const xsim::Rendering& img, const LaserResult& result);

}  // namespace xscan

#endif
