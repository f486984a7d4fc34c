#include <cstddef>
#include <utility>
#include <vector>

#include "processing/kernels/defectivePixels.h"
#include "processing/stages/stages.h"

namespace {

using DefectList = std::vector<std::pair<int, int>>;

/// These models put a temperature word where the last pixel belongs. It would ruin the frame's minimum and
/// maximum, so it is repaired like a defect; applications do not see it in their list.
bool lastPixelIsNoPixel(const image<unsigned short>& picture) {
  return picture.width == 320 || picture.width == 640;
}

/// The list that the first pass works through.
DefectList listForFirstPass(const DefectList& listed, const image<unsigned short>& picture) {
  constexpr std::size_t kMostEntries = 65535;
  DefectList list = listed;
  if (!lastPixelIsNoPixel(picture)) return list;
  if (list.size() >= kMostEntries) list.resize(kMostEntries - 1);  // the last entry taken must be this one
  list.emplace_back(picture.width - 1, picture.height - 1);
  return list;
}

}  // namespace

void repairDefects(FrameContext& frame) {
  Defects& defects = frame.data.defects;
  if (!defects.defectivePixelsCorrection || frame.calibrating()) return;
  neighbourTable& table = defects.defectNeighbourTable;
  correctDefectivePixels(*frame.working,
                         table.built ? DefectList{} : listForFirstPass(defects.list, *frame.working),
                         defects.blankDefectivePixels, table);
}
