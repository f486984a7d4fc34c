// Calibration files and fonts that are missing or damaged when a camera is opened.

#include <functional>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "acquisition/backends/simulated/calibrationSet.h"
#include "calibration/ffcFile.h"
#include "faults/FaultSession.h"
#include "presentation/overlays/overlayFonts.h"
#include "support/simulatedFrames.h"
#include "support/workingFolder.h"

namespace fs = std::filesystem;

namespace {

const std::string kId = "Marlow 3_466001359";
const std::string kThermographic = "Marlow 3_233.15_262.14_025_050.tco";

/// What a file can be instead of itself, in the order of a row's lines.
const std::function<void(const fs::path&)> kDamages[] = {
    [](const fs::path& path) { fs::remove(path); },
    [](const fs::path& path) { fs::remove(path), fs::create_directory(path); },  // opens, and cannot be read
    [](const fs::path& path) { fs::resize_file(path, fs::file_size(path) / 3); },
    [](const fs::path& path) { std::ofstream(path, std::ios::binary) << "\x89PNG\r\n a holiday picture"; },
};

/// left: what the camera has then, as `state` tells it: the map of defects, the manual table, how many of the
/// two tables or the polynomials, the radiometric correction, the fonts for texts and labels.
struct FileRow {
  std::string path;  ///< of a file, or the beginning of several
  const char* whole;
  const char* left;
  const char* lines[4];  ///< with the path in place of @; null: nothing is said
};

const char* const kOpen = "Error while opening file '@'";
const char* const kLoad = "Error while loading file '@'";
const char* const kNoTable = "'@' is no flat-field table of this camera";
const char* const kNoFormula = "'@' names no known formula";
const char* const kNoFont = "Font 'Calibri_24_AA' not found";
const char* const kNotFound = "File '@' not found";
const char* const kSize = "Wrong file size '@'";
const char* const kForeign = "Unrecognized file format '@'";

const FileRow kFiles[] = {
    {"025/" + kId, "dm2rtl", "dm1-tl", {}},  // one of several tables is passed over in silence
    {"050/" + kId, "dm2rtl", "dm1-tl", {}},
    {"dpc/" + kId + ".dpc", "dmprtl", "-mprtl", {kOpen, kOpen, kOpen, kOpen}},
    {"ffc/" + kId + ".ffc", "dmprtl", "d-prtl", {kLoad, kLoad, kNoTable, kNoTable}},
    {"pffc/" + kId + ".pffc", "dmprtl", "dm2rtl", {nullptr, nullptr, kNoFormula, kOpen}},
    {"pffc/" + kId + ".gpffc", "dmprtl", "dm2rtl", {kOpen, kOpen, kOpen, kOpen}},
    {"pffc/" + kId + ".opffc", "dmprtl", "dm2rtl", {kOpen, kOpen, kOpen, kOpen}},
    {kThermographic, "dmprtl", "dmp-tl", {kNotFound, kNotFound, kOpen, kOpen}},
    {"fonts/Calibri_24_AA.bff", "dmprtl", "dmprtl", {kNoFont, kNoFont, kSize, kForeign}},
    {"fonts/Calibri_16_AA.bff", "dmprtl", "dmprt-", {kOpen, kOpen, kSize, kForeign}},
    {"fonts/Calibri_32_AA.bff", "dmprtl", "dmprtl", {}},  // stands in for the first, and is not needed here
};

/// Everything that opening can load for a Marlow 3, below "data".
void writeEverything(bool polynomials) {
  const LogCapture quiet;
  fs::remove_all("data");
  const auto form =
      polynomials ? simulation::PolynomialFiles::CubicBinary : simulation::PolynomialFiles::None;
  ASSERT_TRUE(simulation::writeCalibrationSet(specOf("marlow3"), "data", {true, form}));
  fs::create_directories("data/ffc");
  image<unsigned int> table(320, 240);
  std::fill_n(table.data, table.pixelCount(), 8 * 4000u);
  ASSERT_TRUE(saveFFC(table, 8, 25.0f, "data/ffc/" + kId + ".ffc"));
  fs::create_directories("data/fonts");
  for (const auto& font : fs::directory_iterator(OMBRIX_SOURCE_DIR "/data/fonts")) {
    if (font.path().extension() == ".bff") fs::copy(font.path(), "data/fonts");
  }
}

std::vector<fs::path> filesOf(const std::string& beginning) {
  std::vector<fs::path> found;
  for (const auto& entry : fs::recursive_directory_iterator("data")) {
    if (entry.is_regular_file() && entry.path().generic_string().starts_with("data/" + beginning))
      found.push_back(entry.path());
  }
  return found;
}

/// What the camera has.
std::string state(FaultSession& session) {
  const auto& data = session.inside().processing;
  Ombrix& camera = *session.camera;
  std::string text = data.defects.list.empty() ? "-" : "d";
  text += camera.getFFC() ? 'm' : '-';
  text += camera.getShutterlessCorrection() ? "12p"[data.flatField.ffcMode] : '-';
  text += camera.getRadiometricCorrection() ? 'r' : '-';
  {
    FairLock lock(frameMutex);
    text += overlayFonts().text.loaded() ? 't' : '-';
    text += overlayFonts().label.loaded() ? 'l' : '-';
  }
  return text;
}

}  // namespace

TEST(FaultMatrix, EveryFileFailsOnce) {
  const WorkingFolder folder;
  const auto platform = simulation::makeSimulatedPlatform("marlow3;scene=coded;step=on;fpa=25");
  const char* written = "";
  for (const FileRow& row : kFiles) {
    if (row.whole != std::string(written)) writeEverything(row.whole[2] == 'p');
    written = row.whole;
    for (std::size_t damage = 0; damage <= std::size(kDamages); ++damage) {  // the last is none
      SCOPED_TRACE(row.path + ", " + std::to_string(damage));
      const bool whole = damage == std::size(kDamages);
      const std::vector<fs::path> damaged = whole ? std::vector<fs::path>() : filesOf(row.path);
      for (const fs::path& path : damaged) {
        fs::copy_file(path, path.string() + ".kept");
        kDamages[damage](path);
      }
      FaultSession session(platform);
      EXPECT_TRUE(session.runs([&] { platform->pump(0, 1); }, "data"));
      EXPECT_EQ(state(session), whole ? row.whole : row.left);
      if (const char* const line = whole ? nullptr : row.lines[damage]) {
        const std::string text = std::regex_replace(line, std::regex("@"), "data/" + row.path);
        EXPECT_EQ(session.log.count(text), 1u) << session.log.text();
      } else {
        EXPECT_EQ(session.log.count("rror"), 0u) << session.log.text();
      }
      for (const fs::path& path : damaged) {
        fs::remove(path);
        fs::rename(path.string() + ".kept", path);
      }
    }
  }
}

TEST(FaultMatrix, EveryFileHasARow) {
  const WorkingFolder folder;
  std::set<std::string> extensions;
  for (const bool polynomials : {true, false}) {
    writeEverything(polynomials);
    for (const fs::path& path : filesOf("")) {
      const bool known = std::any_of(std::begin(kFiles), std::end(kFiles), [&path](const FileRow& row) {
        return path.generic_string().starts_with("data/" + row.path);
      });
      EXPECT_TRUE(known) << "no row for: " << path;
      extensions.insert(path.extension().string());
    }
  }
  // A dump to be replayed has damages of its own: SavedPictures.ADamagedDumpIsSaidAndTheCameraStreams.
  extensions.insert(".tiff");
  for (const char* const pattern :
       {R"re(file\("\w+", "(\.\w+)"\))re", R"re(\}(\.\w+)")re", R"re(extension\(\) != "(\.\w+)")re"}) {
    for (const char* const part : {"acquisition", "presentation"}) {
      for (const std::string& extension : inSources(part, pattern)) expectRows({extension}, extensions);
    }
  }
}
