#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <span>

#include "calibration/ffcFile.h"
#include "plainKernels.h"
#include "processing/kernels/columnStripes.h"
#include "processing/kernels/contrastTable.h"
#include "processing/kernels/defectivePixels.h"
#include "processing/kernels/flatFieldTables.h"
#include "processing/kernels/frameMeasurement.h"
#include "processing/kernels/histogramGain.h"
#include "processing/kernels/levelShift.h"
#include "processing/kernels/linearMapping.h"
#include "processing/kernels/polynomialFlatField.h"
#include "processing/kernels/rotation.h"
#include "processing/kernels/rowStripes.h"
#include "processing/kernels/spatialFilter.h"
#include "processing/kernels/targetMeasurement.h"
#include "processing/splitCorrections.h"
#include "processing/state/resamplingState.h"
#include "support/LogCapture.h"

// Every kernel on random and extreme pictures of awkward sizes, whole and in bands, against the plain loops
// of plainKernels.h, bit for bit.

namespace {

using kernels::RowBand;
using plain::Counts;
using plain::Floats;
using plain::Levels;
using plain::Picture;
using Pairs = std::vector<std::pair<int, int>>;

constexpr float kMinK = 233.15f, kSpanK = 262.14f;
constexpr float kInf = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();

enum Data { anything, extremes, ends, scene, allZero, allFull };
constexpr Pairs::value_type kSizes[] = {{1, 1},  {3, 2},   {17, 11},  {33, 5},  {131, 1},
                                        {1, 41}, {80, 60}, {29, 301}, {4200, 9}};

/// What kernels are given.
struct Input : Picture {
  Input(Data data, int w, int h, unsigned seed) : Picture{w, h, {}}, kind(data), random(seed) {
    const std::uint16_t counts[] = {1, 3, 32, 100, 256, 40000};
    const float wild[] = {0.0f, kInf, kNaN, -1e30f};
    frames = counts[seed % 6];
    weight = seed % 5 == 0 ? 0.0f : seed % 5 == 1 ? 1.0f : number(0.0f, 1.0f);
    for (int i = 0; i < width * height; ++i) {
      levels.push_back(level());
      earlier.push_back(level());
      for (Counts& table : tables) table.push_back(sum(i / width));
      const bool odd = kind != scene && below(16) == 0;
      gain.push_back(odd ? wild[below(4)] : number(0.0f, 0.05f));
      offset.push_back(odd ? wild[below(4)] : number(-3000.0f, 20000.0f));
      const float g = kind == allZero ? 0.0f : number(-1.0f, 1.0f), o = number(-9.0f, 9.0f);  // 0: 1 / 0
      coefficients.push_back({g, 0.7f * g, -g, o, 0.1f * o, 0.3f * o, g});
      if (i % (seed % 3 == 0 ? 1 : 20) == 0 && i < 3000) {
        defects.emplace_back(below(width + 2) - 1, below(height + 2) - 1);
      }
    }
  }
  int below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }
  float number(float low, float high) {
    return low + (high - low) * static_cast<float>(below(100001)) / 1e5f;
  }
  std::uint16_t level() {
    const int any = below(65536), rare[] = {0, 16383, 65535, any};
    const int near = 9000 + any % (any % 2 == 0 ? 40 : 90);  // meets both sides of every gate
    const int choice[] = {any,
                          rare[below(4)],
                          any % 2 == 0 ? any % 60 : 65535 - any % 60,
                          any % 40 == 0 ? rare[any / 40 % 3] : near,
                          0,
                          65535};
    return static_cast<std::uint16_t>(choice[kind]);
  }
  /// One row in three goes up to 2^32, beyond what single precision holds without loss.
  std::uint32_t sum(int y) {
    const auto any = static_cast<std::uint32_t>(random());
    const std::uint32_t full = 0xFFFFFFFFu, gentle = 8000u * frames + any % (500u * frames);
    if (kind == extremes && any % 4 == 0) return any % 8 == 0 ? 0 : full;
    if (kind >= allZero) return kind == allZero ? 0 : width % 2 == 0 ? 1u << 31 : full;
    return y % 3 == 2 && kind != scene ? any : gentle;
  }

  Data kind;
  std::mt19937 random;
  Levels earlier;
  std::uint16_t frames;
  float weight;
  Counts tables[4];  ///< sums of `frames` frames
  Floats gain, offset;
  std::vector<ffcPixelPolyfit> coefficients;
  Pairs defects;
};

template <typename T>
ImageView<T> rowsOf(ImageView<T> view, RowBand band) {
  return {view.row(band.first), view.width, band.end - band.first};
}

/// An input beside pictures as kernels take them, in bands as the stages make them.
struct Check {
  explicit Check(const Input& input) : in(input) { renew(); }

  void renew() {
    fill(work, in.levels);
    out.allocate(work.width, work.height);
  }
  template <typename T>
  void fill(image<T>& picture, const std::vector<T>& values) const {
    picture.allocate(static_cast<std::uint16_t>(in.width), static_cast<std::uint16_t>(in.height));
    std::copy(values.begin(), values.end(), picture.data);
  }
  ImageView<std::uint16_t> all() { return work.view(); }
  ImageView<std::uint16_t> shown() { return out.view(); }
  template <typename T>
  ImageView<T> view(std::vector<T>& values) const {
    return {values.data(), work.width, work.height};
  }
  ImageView<const std::uint32_t> table(std::size_t i, RowBand band) const {
    return rowsOf(ImageView<const std::uint32_t>{in.tables[i].data(), work.width, work.height}, band);
  }

  template <typename Actual, typename Expected>
  void same(const Actual& actual, const Expected& expected) const {
    const auto equal = [](const auto& a, const auto& b) { return std::memcmp(&a, &b, sizeof a) == 0; };
    ASSERT_EQ(std::size(actual), std::size(expected));
    const auto [a, e] = std::mismatch(std::begin(actual), std::end(actual), std::begin(expected), equal);
    ASSERT_TRUE(a == std::end(actual))
        << "value " << a - std::begin(actual) << " is " << *a << ", not " << *e;
  }
  /// For every number of bands: `task(band)` for each of them, then `done()`.
  template <typename Task, typename Done>
  void split(std::uint32_t height, Task&& task, Done&& done) {
    for (const std::uint32_t bands : {1u, 2u, 3u, 7u}) {
      SCOPED_TRACE(testing::Message() << bands << " bands");
      renew();
      for (std::uint32_t t = 0; t < bands; ++t) {
        if (const RowBand band = kernels::rowBand(t, bands, height); !band.empty()) task(band);
      }
      done();
    }
  }
  /// `task(rows, band)` works on the rows of `work`.
  template <typename Task>
  void inPlace(const Levels& expected, Task&& task) {
    split(
        work.height, [&](RowBand band) { task(rowsOf(work.view(), band), band); },
        [&] { same(work.view().pixels(), expected); });
  }
  /// `task(band, scratch)` writes rows of `out`. Of the scratch no part may be another band's, too.
  template <typename Task>
  void intoOut(const Levels& expected, std::size_t perBand, Task&& task) {
    BandScratch scratch;
    const float* unused = nullptr;
    const auto run = [&](RowBand band) {
      if (band.first == 0) scratch.prepare((work.height + band.end - 1) / band.end, work.height, perBand);
      const std::span<float> part = scratch.of(band);
      EXPECT_TRUE(band.first == 0 || part.data() == unused);
      unused = part.data() + part.size();
      task(band, part);
    };
    split(work.height, run, [&] { same(out.view().pixels(), expected); });
  }
  /// For what works on bands by itself.
  template <typename Task>
  void inUnits(const Levels& expected, Task&& task) {
    const LogCapture quiet(logger::verbosityErrors);
    for (const unsigned units : {0u, 1u, 2u, 3u, 7u, 2000u}) {
      renew();
      task(units);
      same(work.view().pixels(), expected);
    }
  }

  const Input& in;
  image<unsigned short> work, out;
};

template <typename Compare>
void onAllData(Compare&& compare) {
  unsigned seed = 0;
  for (const auto& [width, height] : kSizes) {
    for (const Data kind : {anything, extremes, ends, scene, allZero, allFull}) {
      SCOPED_TRACE(testing::Message() << width << " x " << height << ", data " << kind);
      const Input input(kind, width, height, ++seed);
      Check check(input);
      compare(check, input);
      if (testing::Test::HasFailure()) return;
    }
  }
}

constexpr std::uint32_t kTarget = 8100;

TEST(PlainReference, OfTableOffsets) {
  int kept = 0;
  onAllData([&](Check& c, const Input& in) {
    const Levels single = plain::offset(in.levels, in.tables[0], in.tables[0], 0.0f, kTarget, in.frames);
    c.inPlace(single, [&](auto rows, RowBand band) {
      kernels::correctOffset(rows, c.table(0, band), kTarget, in.frames);
    });
    c.inPlace(plain::offset(in.levels, in.tables[0], in.tables[1], in.weight, kTarget, in.frames),
              [&](auto rows, RowBand band) {
                kernels::correctOffset(rows, c.table(0, band), c.table(1, band), kTarget, in.frames,
                                       in.weight);
              });
    std::vector<std::int16_t> shifts(in.levels.size());
    if (!kernels::tabulateShifts(c.table(0, {0, c.work.height}), kTarget, in.frames, shifts)) return;
    ++kept;
    c.inPlace(single, [&](auto rows, RowBand band) {
      kernels::shiftPixels(rows.pixels(), rowsOf(c.view(shifts), band).pixels());
    });
  });
  EXPECT_GE(kept, 9);
}

TEST(PlainReference, OfTwoReferences) {
  onAllData([](Check& c, const Input& in) {
    const Levels expected = plain::twoReferences(in.levels, in.tables, in.frames, in.weight, kMinK, kSpanK);
    Floats levels(expected.size()), gains(expected.size());
    for (const bool again : {false, true}) {
      c.inPlace(expected, [&](auto rows, RowBand band) {
        const kernels::PixelReferences kept{rowsOf(c.view(levels), band).pixels(),
                                            rowsOf(c.view(gains), band).pixels()};
        if (again) return kernels::correctWithReferences(rows, kept, kSpanK);
        kernels::correctWithReferences(
            rows, {c.table(0, band), c.table(1, band), c.table(2, band), c.table(3, band)}, in.frames,
            in.weight, kMinK, kSpanK, kept);
      });
    }
  });
}

TEST(PlainReference, OfTablesThatAreMadeAndShown) {
  onAllData([](Check& c, const Input& in) {
    Counts sums = in.tables[0], added = sums;
    Levels shown, values;
    float mean = 0.0f;
    for (std::size_t i = 0; i < sums.size(); ++i) {
      added[i] += in.levels[i];
      shown.push_back(plain::limited(static_cast<long long>(sums[i] / in.frames)));
      mean += static_cast<float>(sums[i] / in.frames);
      values.push_back(plain::limited((in.offset[i] + 3000.0f) / 22000.0f * 65535.0f));
    }
    c.inPlace(shown, [&](auto rows, RowBand band) { kernels::showTable(c.table(0, band), in.frames, rows); });
    Floats offset = in.offset;
    c.inPlace(values, [&](auto rows, RowBand band) {
      kernels::showValues(rowsOf(ImageView<const float>(c.view(offset)), band), -3000.0f, 19000.0f, rows);
    });
    image<unsigned int> table;
    c.fill(table, sums);
    mean = std::min(mean / static_cast<float>(sums.size()), 4294967296.0f);
    EXPECT_EQ(getFFCMean(table, in.frames), std::min(static_cast<long long>(mean), 4294967295LL));
    c.renew();
    kernels::accumulateFrame(c.all(), c.view(sums));
    c.same(sums, added);
  });
}

TEST(PlainReference, OfPolynomials) {
  onAllData([](Check& c, const Input& in) {
    const float t = 301.37f, ln = static_cast<float>(std::log(301.37f * 1.0));
    const float t2 = static_cast<float>(std::pow(double{t}, 2)),
                t3 = static_cast<float>(std::pow(double{t}, 3));
    for (int model = 1; model <= 4; ++model) {
      Floats gain, offset, actualGain, actualOffset;
      for (const auto& p : in.coefficients) {
        const float g = p.g0 + p.g1 * t, o = p.o0 + p.o1 * t;
        gain.push_back(1.0f / (model < 3 ? g : g + p.g2 * (model == 3 ? t2 : ln)));
        offset.push_back(model == 1   ? o
                         : model == 2 ? o + p.o2 * t2
                         : model == 3 ? o + p.o2 * t2 + p.o3 * t3
                                      : o + p.o2 * ln);
      }
      c.split(
          c.work.height,
          [&](RowBand band) {
            if (band.first == 0) actualGain = actualOffset = Floats(in.gain.size());
            const std::span all(in.coefficients);
            const auto part = all.subspan(band.first * c.work.width, (band.end - band.first) * c.work.width);
            kernels::evaluatePolynomials(part, PolynomialModel{model}, kernels::PolynomialTerms(t),
                                         rowsOf(c.view(actualGain), band).pixels(),
                                         rowsOf(c.view(actualOffset), band).pixels());
          },
          [&] { c.same(actualGain, gain), c.same(actualOffset, offset); });
    }
    image<float> gain, offset;
    c.fill(gain, in.gain), c.fill(offset, in.offset);
    c.inUnits(plain::gainAndOffset(in.levels, in.gain, in.offset, kMinK, kSpanK),
              [&](unsigned units) { applyFFC(c.work, gain, offset, kMinK, kSpanK, units); });
  });
}

TEST(PlainReference, OfThermographicTableAndTemporalFilter) {
  Levels table;
  for (unsigned i = 0; i < plain::kAllLevels; ++i) table.push_back(static_cast<std::uint16_t>(i * 40503));
  onAllData([&](Check& c, const Input& in) {
    c.inUnits(plain::through(table, in.levels),
              [&](unsigned units) { applyThermographicCorrection(c.work, table, units); });
    Levels mixed;
    for (std::size_t i = 0; i < in.levels.size(); ++i) {
      mixed.push_back(plain::limited(static_cast<float>(in.earlier[i]) * in.weight +
                                     static_cast<float>(in.levels[i]) * (1.0f - in.weight)));
    }
    c.inUnits(mixed, [&](unsigned units) {
      c.fill(c.out, in.earlier);
      EWMA(c.work, c.out, in.weight, units);
      c.same(c.shown().pixels(), mixed);
    });
  });
}

TEST(PlainReference, OfDefectReplacement) {
  onAllData([](Check& c, const Input& in) {
    neighbourTable table;
    for (const bool blank : {false, true, false}) {  // the first builds the table
      Picture expected = in;
      c.renew();
      const Pairs used = plain::repairDefects(expected, in.defects, blank);
      correctDefectivePixels(c.work, table.built ? Pairs{} : in.defects, blank, table);
      c.same(c.all().pixels(), expected.levels);
      EXPECT_EQ(Pairs(table.neighbours.begin(), table.neighbours.end()), used);
    }
  });
}

TEST(PlainReference, OfStatistics) {
  kernels::CountBanks banks;
  onAllData([&](Check& c, const Input& in) {
    Counts histogram(plain::kAllLevels, 99);
    const auto m = kernels::measureFrame(c.all(), LevelCounts{histogram}, banks);
    c.same(histogram, plain::counted(in.levels));
    const auto low = std::min_element(in.levels.begin(), in.levels.end());  // the first of them
    const auto high = std::max_element(in.levels.begin(), in.levels.end());
    EXPECT_EQ(m.minimum.y * c.work.width + m.minimum.x, low - in.levels.begin());
    EXPECT_EQ(m.maximum.y * c.work.width + m.maximum.x, high - in.levels.begin());
    EXPECT_TRUE(m.minimum.level == *low && m.maximum.level == *high && m.mean == plain::mean(in.levels));
    EXPECT_TRUE(m.minimum.x < c.work.width && m.maximum.x < c.work.width);
    EXPECT_EQ(kernels::levelRange(c.all()), std::pair(m.minimum.level, m.maximum.level));
  });
}

TEST(PlainReference, OfLevelShiftAndLinearMapping) {
  const std::pair<std::uint16_t, std::uint16_t> bounds[] = {
      {0, 65535}, {0, 16383}, {7000, 9050}, {3000, 3011}, {65534, 65535}, {0, 1}, {300, 300}, {9, 3}};
  Counts counts(plain::kAllLevels);
  onAllData([&](Check& c, const Input& in) {
    const Counts histogram = plain::counted(in.levels);
    for (const int shift : {-50, 7, 50}) {
      for (const auto& [low, high] : bounds) {
        const Levels expected = plain::mapped(plain::shifted(in.levels, shift), low, high);
        c.inPlace(expected, [&, first = low, last = high](auto rows, RowBand) {
          kernels::shiftLevels(rows, shift);
          kernels::mapLinear(rows, first, last);
        });
        if (low <= high) {  // from one picture to the other, as frames go
          c.renew();
          kernels::shiftLevels(c.work.view(), c.out.view(), shift);
          kernels::mapLinear(c.out.view(), c.work.view(), low, high);
          c.same(c.all().pixels(), expected);
        }
        kernels::countShifted(ConstLevelCounts{histogram}, shift, LevelCounts{counts});
        kernels::countLinear(ConstLevelCounts{histogram}, shift, low, high, LevelCounts{counts});
        c.same(counts, plain::counted(expected));
      }
    }
  });
}

TEST(PlainReference, OfEqualisedGain) {
  Levels table(plain::kAllLevels);
  Counts counts(plain::kAllLevels);
  unsigned choice = 0;
  onAllData([&](Check& c, const Input& in) {
    const Counts histogram = plain::counted(in.levels);
    for (const auto& [low, high] :
         {std::pair<std::uint16_t, std::uint16_t>{0, 65535}, {8990, 9100}, {9000, 8000}}) {
      for (const int steepest : {0, 41, 205}) {
        const float weights[] = {in.weight, 0.75f, 1.0f, -0.5f, 9.0f, kNaN};
        const float weight = weights[choice++ % 6];
        const Levels expected = plain::gainTable(histogram, low, high, weight, steepest);
        c.renew();
        kernels::correctImage(c.all(), ConstLevelCounts{histogram}, {low, high, weight, steepest},
                              kernels::GainTable{table});
        c.same(table, expected);
        c.same(c.all().pixels(), plain::through(expected, in.levels));
        kernels::countMapped(ConstLevelCounts{histogram}, -7, kernels::ConstGainTable{table},
                             LevelCounts{counts});
        c.same(counts, plain::counted(plain::through(expected, plain::shifted(in.levels, -7))));
        for (std::size_t level = 1; level < table.size(); ++level) {
          const int step = table[level] - table[level - 1];
          ASSERT_TRUE(step >= 0 && step <= std::max(steepest, 1)) << level;
        }
      }
    }
  });
}

TEST(PlainReference, OfContrastAndValueTables) {
  Floats contrast(plain::kAllLevels);
  onAllData([&](Check& c, const Input& in) {
    const Counts counts = plain::counted(in.levels);
    Counts filled(plain::kAllLevels);
    for (const float fraction : {0.0f, 0.01f, in.weight}) {
      kernels::tabulateContrast(ConstLevelCounts{counts}, in.levels.size(), fraction,
                                std::span<float, kLevels>{contrast});
      c.same(contrast, plain::contrast(counts, in.levels.size(), fraction));
    }
    kernels::fillGaps(ConstLevelCounts{counts}, LevelCounts{filled});
    c.same(filled, plain::withoutGaps(counts));
  });
}

TEST(PlainReference, OfTheTarget) {
  onAllData([](Check& c, const Input& in) {
    for (const int degrees : {0, 90, 180, 270}) {
      Radiometry radiometry;
      radiometry.emissivity = degrees < 100 ? 1.0f : 0.93f;
      const Floats expected = plain::target(in, degrees);
      const auto levels = kernels::readTarget(c.all(), static_cast<float>(degrees));
      c.same(levels, expected);
      const auto reading = kernels::measureTarget(levels, radiometry);
      c.same(Floats{reading.temperature, reading.noise},
             plain::measuredTarget(expected, kMinK, kSpanK, radiometry.emissivity));
    }
  });
}

TEST(PlainReference, OfRotation) {
  onAllData([](Check& c, const Input& in) {
    for (const double degrees : {0.0, 90.0, 180.0, 270.0, 17.3, 211.0, 359.99}) {
      c.intoOut(plain::turned(in, degrees), 0, [&](RowBand band, auto) {
        kernels::rotateImage(c.all(), c.shown(), kernels::rotationStep(degrees), band);
      });
    }
  });
}

TEST(PlainReference, OfInterpolationAndIntegerZoom) {
  onAllData([](Check& c, const Input& in) {
    kernels::InterpolationWeights weights;
    for (const float zoom : {0.4f, 1.01f, 1.3f, 3.7f}) {
      for (std::uint8_t method = 0; method < 4; ++method) {
        SCOPED_TRACE(testing::Message() << "zoom " << zoom << ", method " << int{method});
        weights.prepare(zoom, method, c.work.width, c.work.height);
        c.intoOut(plain::interpolated(in, zoom, method), kernels::interpolationScratch(c.work.width),
                  [&](RowBand band, std::span<float> scratch) {
                    kernels::interpolateImage(c.all(), c.shown(), weights, band, scratch);
                  });
      }
    }
    for (const std::uint32_t factor : {1u, 2u, 3u, 10u}) {
      c.intoOut(plain::zoomedByBlocks(in, factor), 0,
                [&](RowBand band, auto) { kernels::zoomPixels(c.all(), c.shown(), factor, band); });
    }
  });
}

TEST(PlainReference, OfTheSpatialFilter) {
  onAllData([](Check& c, const Input& in) {
    for (const float sigma : {64.0f, 9000.0f}) {
      c.intoOut(plain::filtered(in, sigma), kernels::filterScratch(c.work.width),
                [&](RowBand band, std::span<float> scratch) {
                  kernels::filterImage(c.all(), c.shown(), sigma, band, scratch);
                });
    }
    c.same(Floats{kernels::noiseSigma(c.all())}, Floats{plain::noiseSigma(in)});
  });
}

/// What the stages take from each stripe.
Floats remaining(const kernels::StripeOffsets& offsets, std::size_t stripes) {
  Floats remains;
  for (std::size_t i = 0; i < stripes; ++i) remains.push_back(offsets.remaining(i, -1.25f, 40.0f));
  return remains;
}

TEST(PlainReference, OfColumnStripes) {
  onAllData([](Check& c, const Input& in) {
    const std::uint32_t width = c.work.width, height = c.work.height;
    Levels sample(kernels::stripeSampleSize(width, height));
    const auto measured = kernels::measureColumnGates(c.all(), sample);
    c.same(Levels{measured.step, measured.reach}, plain::columnGates(in));
    for (const auto gates : {measured, kernels::StepGates{40, 60}}) {
      const plain::Votes expected = plain::columnVotes(in, gates.step, gates.reach);
      const Floats said = plain::agreed(plain::columnOffsets(expected, in), width, -1.25f, 40.0f);
      kernels::ColumnVotes votes;
      const auto sum = [&](RowBand segments) {
        if (segments.first == 0) votes.allocate(width);
        kernels::sumColumnVotes(c.all(), gates, segments, votes);
      };
      c.split(kernels::kStripeSegments, sum, [&] {
        c.same(votes.sums, expected.sums);
        c.same(votes.voters, expected.voters);
        kernels::StripeOffsets offsets;
        offsets.allocate(width);
        Floats profile(width), sums(width);
        kernels::measureColumnOffsets(votes, height, profile, sums, offsets);
        c.same(remaining(offsets, width), said);
      });
    }
    kernels::ColumnShifts shifts;
    shifts.allocate(width);
    shifts.round(std::span(in.offset).first(width));
    c.inPlace(plain::withoutStripes(in, in.offset, true),
              [&](auto, RowBand band) { kernels::shiftColumns(c.all(), shifts, band); });
  });
}

TEST(PlainReference, OfRowStripes) {
  onAllData([](Check& c, const Input& in) {
    const std::uint32_t height = c.work.height;
    Levels sample(kernels::stripeSampleSize(c.work.width, height));
    const auto measured = kernels::measureRowGates(c.all(), sample);
    c.same(Levels{measured.offset, measured.reach}, plain::rowGates(in));
    for (const auto gates : {measured, kernels::RowGates{38, 30}}) {
      const Floats said = plain::rowOffsets(in, gates.offset, gates.reach);
      kernels::StripeOffsets offsets;
      const auto measure = [&](RowBand band) {
        if (band.first == 0) offsets.allocate(height);
        kernels::measureRowOffsets(c.all(), gates, band, offsets);
      };
      c.split(height, measure, [&] {
        offsets.sort();
        c.same(remaining(offsets, height), plain::agreed(said, height, -1.25f, 40.0f));
      });
    }
    c.inPlace(plain::withoutStripes(in, in.offset, false),
              [&](auto, RowBand band) { kernels::shiftRows(c.all(), in.offset, band); });
  });
}

}  // namespace
