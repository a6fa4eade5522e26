// The tuning answers of ilaenv and iparmq, at the limits of their rules. What is expected stands here as numbers;
// nothing is computed as the library computes it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "routines.hpp"

namespace nuv::test {
namespace {

constexpr Int largest = std::numeric_limits<Int>::max();
constexpr Int lowest = std::numeric_limits<Int>::min();

struct Sizes {
  Int n1, n2, n3, n4;
};

Text text(const std::string& characters) {
  return {characters.data(), Int(characters.size())};
}

Int ask(Int ispec, const std::string& name, const std::string& opts = " ", Sizes n = {-1, -1, -1, -1}) {
  std::string six = name;
  six.resize(std::max<std::size_t>(6, name.size()), ' ');
  return routine_call::ilaenv(ispec, text(six), text(opts), n.n1, n.n2, n.n3, n.n4);
}

std::vector<std::string> words(const std::string& list) {
  std::istringstream stream(list);
  return {std::istream_iterator<std::string>(stream), {}};
}

std::string lower(std::string word) {
  for (char& c : word) c = char(std::tolower(c));
  return word;
}

/// Routine names in the precisions given, from words without their precision letter.
struct Names {
  std::string precisions, operations;

  std::vector<std::string> all() const {
    std::vector<std::string> names;
    for (const char precision : precisions) {
      for (const std::string& operation : words(operations)) names.push_back(precision + operation);
    }
    return names;
  }
};

/// Expects one answer for all names, in capitals, small letters and both mixed.
void expect_answer(Int ispec, const Names& names, const std::string& opts, const Sizes& n, Int answer) {
  for (const std::string& name : names.all()) {
    std::string mixed = name;
    for (std::size_t i = 0; i < mixed.size(); i += 2) mixed[i] = char(std::tolower(mixed[i]));
    for (const std::string& spelling : {name, lower(name), mixed}) {
      EXPECT_EQ(ask(ispec, spelling, opts, n), answer) << "ispec " << ispec << ", " << spelling << ", '" << opts
                                                       << "', " << n.n1 << ", " << n.n2 << ", " << n.n3 << ", " << n.n4;
    }
  }
}

const std::vector<Sizes> many_sizes = {{-1, -1, -1, -1},   {0, 0, 0, 0},         {1, 1, 1, 1},
                                       {100, 1, -1, -1},   {5000, 2, 3, 65},     {64, 5000, 1, 1},
                                       {1000, 1000, 2, 3}, {20000, 4, 100, 100}, {largest, largest, largest, largest}};

/// Expects an answer that does not depend on sizes or options.
void expect_fixed(Int ispec, const Names& names, Int answer) {
  for (const Sizes& n : many_sizes) {
    for (const char* opts : {" ", "U", "L", "N", "V", "Memory", "No Memory"})
      expect_answer(ispec, names, opts, n, answer);
  }
}

struct Point {
  Int size, answer;
};

/// Expects answers that depend on one size alone; the others are as in the list.
void expect_points(Int ispec, const Names& names, Int Sizes::*size, const std::vector<Point>& points,
                   const std::vector<Sizes>& others = many_sizes, const std::vector<std::string>& all_opts = {" "}) {
  for (const Point& point : points) {
    for (Sizes n : others) {
      n.*size = point.size;
      for (const std::string& opts : all_opts) expect_answer(ispec, names, opts, n, point.answer);
    }
  }
}

/// many_sizes with n2 as given.
std::vector<Sizes> with_n2(const std::vector<Int>& values) {
  std::vector<Sizes> list;
  for (const Int n2 : values) {
    for (Sizes n : many_sizes) {
      n.n2 = n2;
      list.push_back(n);
    }
  }
  return list;
}

const std::vector<Sizes> one_thread = with_n2({1}), at_most_one_thread = with_n2({1, 0, -1}),
                         more_threads = with_n2({2, 3, 16, largest}), not_one_thread = with_n2({-1, 0, 2, 3, largest});

// ------------------------------------------------------------------------------------------------ fixed block sizes

struct FixedAnswers {
  Int answer;
  std::vector<Names> names;
};

const FixedAnswers fixed_block_sizes[] = {
    {128, {{"SD", "POTRF"}}},
    {64,
     {{"SCZ", "GETRF"},
      {"SDCZ", "GETRI TRTRI LAUUM SYTRF"},
      {"SD", "SYGST"},
      {"CZ", "HEGST"},
      {"CZ", "HETRF"},
      {"CZ", "POTRF"}}},
    {40, {{"S", "SYRDB"}, {"Z", "HERDB"}}},
    {32,
     {{"SDCZ", "GEBRD GEHRD GELQF GEQLF GERQF LAQPS"},
      {"SD", "SPTRD"},
      {"CZ", "HPTRD"},
      {"CZ", "UNGBR UNGHR UNGLQ UNGQL UNGQR UNGRQ UNGTR"},
      {"CZ", "UNMBR UNMHR UNMLQ UNMQL UNMQR UNMRQ UNMTR"}}},
};

TEST(BlockSizes, ThatDoNotDependOnSizes) {
  for (const auto& [answer, lists] : fixed_block_sizes) {
    for (const Names& names : lists) expect_fixed(1, names, answer);
  }
}

// ------------------------------------------------------------------------------------------------ block sizes by size

TEST(BlockSizes, OfTheRightLookingFactorisation) {
  expect_points(1, {"D", "GETRF"}, &Sizes::n2,
                {{lowest, 1},
                 {-1, 1},
                 {0, 1},
                 {1, 1},
                 {7, 1},
                 {8, 1},
                 {9, 8},
                 {10, 8},
                 {31, 8},
                 {32, 8},
                 {33, 32},
                 {34, 32},
                 {127, 32},
                 {128, 32},
                 {129, 128},
                 {130, 128},
                 {255, 128},
                 {256, 128},
                 {257, 256},
                 {511, 256},
                 {512, 256},
                 {513, 512},
                 {1000, 512},
                 {1024, 512},
                 {1025, 1024},
                 {2048, 1024},
                 {2049, 2048},
                 {4097, 4096},
                 {65536, 32768},
                 {65537, 65536},
                 {1 << 30, 1 << 29},
                 {(1 << 30) + 1, 1 << 30},
                 {largest, 1 << 30}});
}

TEST(BlockSizes, OfQrFactorisations) {
  expect_points(1, {"SDCZ", "GEQRF"}, &Sizes::n2,
                {{-1, 16},   {0, 16},    {1, 16},    {299, 16},  {300, 16},   {301, 24},   {349, 24},     {350, 24},
                 {351, 48},  {352, 48},  {799, 48},  {800, 48},  {801, 64},   {802, 64},   {1149, 64},    {1150, 64},
                 {1151, 96}, {1152, 96}, {3399, 96}, {3400, 96}, {3401, 128}, {3402, 128}, {largest, 128}});
  for (const Int n2 : {-1, 0, 1, 16, 300, largest}) {
    expect_points(1, {"SDCZ", "LAQRF"}, &Sizes::n1, {{-1, n2}, {0, n2}, {1, n2}, {349, n2}, {350, n2}}, with_n2({n2}));
  }
  expect_points(1, {"SDCZ", "LAQRF"}, &Sizes::n1, {{351, 16}, {352, 16}, {1000, 16}, {largest, 16}});
  expect_points(1, {"SDCZ", "LARFT"}, &Sizes::n2, {{-1, 16}, {0, 16}, {63, 16}, {64, 16}});
  expect_points(1, {"SDCZ", "LARFT"}, &Sizes::n1,
                {{-1, 32}, {0, 32}, {14998, 32}, {14999, 32}, {15000, 16}, {15001, 16}, {largest, 16}},
                with_n2({65, 66, 1000, largest}));
}

TEST(BlockSizes, OfRealOrthogonalMatrices) {
  const Names names{"SD",
                    "ORGBR ORGHR ORGLQ ORGQL ORGQR ORGRQ ORGTR ORMBR ORMHR ORMLQ ORMQL ORMQR ORMRQ ORMTR ORMRZ ORG2R "
                    "ORMXX"};
  for (const Int other : {-1, 0, 1, 64, 65, 5000, largest}) {
    for (const Int small : {lowest, -1, 0, 1, 63, 64}) {
      expect_answer(1, names, " ", {small, other, -1, -1}, 16);
      expect_answer(1, names, "LT", {other, small, 100000, -1}, 16);
    }
  }
  const struct {
    Int n1, n2, answer;
  } products[] = {
      {65, 65, 32},        {66, 66, 32},      {255999, 1, 16},     {65, 3938, 32},  // 255970
      {65, 3939, 64},                                                               // 256035
      {256, 1000, 64},     {1000, 256, 64},   {256, 999, 32},      {500, 511, 32},  // 255500
      {500, 512, 64},      {500, 513, 64},    {1000, 1499, 64},    {1000, 1500, 128},   {1499, 1000, 64},
      {1500, 1000, 128},   {1501, 1000, 128}, {20000, 20000, 128}, {65536, 32767, 128},  // 2^31 - 65536
      {65536, 32768, 32},   // 2^31 wraps to a negative number
      {65536, 65536, 32},   // 2^32 to zero
      {65536, 65540, 64},   // 4 x 65536 = 262144
      {65536, 65559, 128},  // 23 x 65536 = 1507328
  };
  for (const auto& [n1, n2, answer] : products) {
    for (const Int n3 : {-1, 1, 4000}) expect_answer(1, names, " ", {n1, n2, n3, -1}, answer);
  }
}

TEST(BlockSizes, OfSweepsOfRotations) {
  const Names names{"SDCZ", "STEQR BDSQR"};
  expect_points(1, names, &Sizes::n1,
                {{-1, 4},     {0, 4},      {1, 4},      {209, 4},    {210, 4},    {211, 100},  {212, 100},
                 {259, 100},  {260, 100},  {261, 120},  {262, 120},  {449, 120},  {450, 120},  {451, 140},
                 {452, 140},  {999, 140},  {1000, 140}, {1001, 160}, {1002, 160}, {2199, 160}, {2200, 160},
                 {2201, 180}, {2202, 180}, {3999, 180}, {4000, 180}, {4001, 200}, {4002, 200}, {largest, 200}},
                one_thread);
  expect_points(1, names, &Sizes::n1, {{-1, 4},     {0, 4},      {209, 4},    {210, 4},    {211, 100},  {212, 100},
                                       {450, 100},  {629, 100},  {630, 100},  {631, 140},  {632, 140},  {1099, 140},
                                       {1100, 140}, {1101, 160}, {1102, 160}, {2499, 160}, {2500, 160}, {2501, 180},
                                       {2502, 180}, {6199, 180}, {6200, 180}, {6201, 200}, {6202, 200}, {largest, 200}},
                not_one_thread);
}

TEST(BlockSizes, OfSymmetricSolves) {
  const auto points = [](Int few, Int some, Int many) {
    return std::vector<Point>{{-1, few},    {0, few},     {2498, few},  {2499, few},  {2500, some},
                              {2501, some}, {4999, some}, {5000, many}, {5001, many}, {largest, many}};
  };
  expect_points(1, {"D", "SYTRS SPTRS"}, &Sizes::n1, points(64, 32, 16));
  expect_points(1, {"C", "SYTRS SPTRS HETRS HPTRS"}, &Sizes::n1, points(64, 32, 16));
  expect_points(1, {"S", "SYTRS SPTRS"}, &Sizes::n1, points(128, 64, 32));
  expect_points(1, {"Z", "SYTRS SPTRS HETRS HPTRS"}, &Sizes::n1, points(32, 16, 8));
}

TEST(BlockSizes, OfBandMatrices) {
  const std::vector<Point> points = {{-1, 1}, {0, 1}, {63, 1}, {64, 1}, {65, 32}, {66, 32}, {largest, 32}};
  expect_points(1, {"SDCZ", "PBTRF"}, &Sizes::n2, points);
  expect_points(1, {"SDCZ", "GBTRF"}, &Sizes::n4, points);
  expect_points(1, {"SDCZ", "GBTRS PBTRS TBTRS"}, &Sizes::n3,
                {{-1, 1}, {0, 1}, {1, 1}, {2, 1}, {3, 128}, {4, 128}, {largest, 128}});
}

const std::vector<std::string> upper_opts = {"U", "u", "Upper"}, lower_opts = {"L", "l", " ", "N"},
                               any_uplo = {"U", "u", "L", "l", " "};

TEST(BlockSizes, OfTridiagonalReductions) {
  expect_points(1, {"S", "SYTRD"}, &Sizes::n1,
                {{-1, 20}, {0, 20}, {1398, 20}, {1399, 20}, {1400, 24}, {1401, 24}, {largest, 24}}, at_most_one_thread,
                any_uplo);
  expect_points(1, {"S", "SYTRD"}, &Sizes::n1, {{-1, 12}, {1399, 12}, {1400, 12}, {largest, 12}}, more_threads,
                any_uplo);

  expect_points(1, {"D", "SYTRD"}, &Sizes::n1, {{-1, 24}, {0, 24}, {1548, 24}, {1549, 24}, {1550, 32}, {1551, 32}},
                at_most_one_thread, upper_opts);
  expect_points(1, {"D", "SYTRD"}, &Sizes::n1, {{-1, 24}, {0, 24}, {1098, 24}, {1099, 24}, {1100, 32}, {1101, 32}},
                at_most_one_thread, lower_opts);
  expect_points(1, {"D", "SYTRD"}, &Sizes::n1, {{-1, 12}, {1698, 12}, {1699, 12}, {1700, 16}, {1701, 16}}, more_threads,
                any_uplo);

  expect_points(1, {"C", "HETRD"}, &Sizes::n1, {{-1, 24}, {748, 24}, {749, 24}, {750, 40}, {751, 40}},
                at_most_one_thread, any_uplo);
  expect_points(1, {"C", "HETRD"}, &Sizes::n1, {{-1, 12}, {749, 12}, {750, 12}, {largest, 12}}, more_threads, any_uplo);

  const std::vector<Point> z_points = {{-1, 20}, {398, 20}, {399, 20}, {400, 24}, {401, 24}, {998, 24}, {999, 24}};
  expect_points(1, {"Z", "HETRD"}, &Sizes::n1, z_points, at_most_one_thread, any_uplo);
  expect_points(1, {"Z", "HETRD"}, &Sizes::n1, {{1000, 40}, {1001, 40}, {largest, 40}}, at_most_one_thread, lower_opts);
  expect_points(1, {"Z", "HETRD"}, &Sizes::n1, {{1000, 32}, {1001, 32}, {largest, 32}}, at_most_one_thread, upper_opts);
  expect_points(1, {"Z", "HETRD"}, &Sizes::n1, {{-1, 12}, {1398, 12}, {1399, 12}, {1400, 16}, {1401, 16}}, more_threads,
                lower_opts);
  expect_points(1, {"Z", "HETRD"}, &Sizes::n1, {{-1, 12}, {1548, 12}, {1549, 12}, {1550, 16}, {1551, 16}}, more_threads,
                upper_opts);
}

TEST(BlockSizes, OfPackedSymmetricFactorisations) {
  const std::vector<Int> orders = {-1, 0, 1998, 1999, 2000, 2001, largest};
  for (const Names& names : {Names{"D", "SPTRF"}, Names{"Z", "HPTRF SPTRF"}}) {
    for (const Int n : orders) expect_points(1, names, &Sizes::n1, {{n, 64}}, one_thread);
    expect_points(1, names, &Sizes::n1, {{-1, 64}, {0, 64}, {1998, 64}, {1999, 64}, {2000, 128}, {2001, 128}},
                  not_one_thread);
  }
  for (const Names& names : {Names{"S", "SPTRF"}, Names{"C", "HPTRF SPTRF"}}) {
    for (const Int n : orders) expect_points(1, names, &Sizes::n1, {{n, 128}}, one_thread);
    expect_points(1, names, &Sizes::n1, {{-1, 128}, {0, 128}, {1998, 128}, {1999, 128}, {2000, 256}, {2001, 256}},
                  not_one_thread);
  }
}

TEST(BlockSizes, OfBandReductions) {
  expect_points(1, {"D", "SYRDB"}, &Sizes::n1, {{-1, 40}, {2949, 40}, {2950, 40}, {largest, 40}}, at_most_one_thread);
  expect_points(1, {"D", "SYRDB"}, &Sizes::n1, {{-1, 40}, {2948, 40}, {2949, 40}, {2950, 64}, {2951, 64}},
                more_threads);
  expect_points(1, {"C", "HERDB"}, &Sizes::n1, {{-1, 40}, {2348, 40}, {2349, 40}, {2350, 64}, {2351, 64}},
                at_most_one_thread);
  expect_points(1, {"C", "HERDB"}, &Sizes::n1, {{-1, 40}, {2798, 40}, {2799, 40}, {2800, 64}, {2801, 64}},
                more_threads);
}

TEST(BlockSizes, OfTridiagonalSolves) {
  expect_points(1, {"SDCZ", "GTTRS PTTRS"}, &Sizes::n2,
                {{lowest, lowest}, {-1, -1}, {0, 0}, {1, 1}, {17, 17}, {largest, largest}});
}

TEST(BlockSizes, OfPackedFactorisations) {
  const std::vector<std::string> unbuffered = {" ", "  ", "No Memory", "no memory", "U"},
                                 buffered = {"Memory", "memory"};
  const auto up_to = [](Int limit) {
    return std::vector<Point>{
        {-1, -1},           {0, 0},        {1, 1},        {50, 50},        {limit - 1, limit - 1}, {limit, limit},
        {limit + 1, limit}, {1000, limit}, {3001, limit}, {largest, limit}};
  };
  expect_points(1, {"DZ", "PPTRF"}, &Sizes::n1, up_to(128), one_thread, unbuffered);
  expect_points(1, {"DZ", "PPTRF"}, &Sizes::n1, up_to(64), not_one_thread, unbuffered);
  expect_points(1, {"SC", "PPTRF"}, &Sizes::n1, up_to(256), one_thread, unbuffered);
  expect_points(1, {"SC", "PPTRF"}, &Sizes::n1, up_to(128), not_one_thread, unbuffered);

  for (const Int buffers : {1, 2, 7}) {
    const auto others = with_n2({buffers});
    expect_points(
        1, {"DZ", "PPTRF"}, &Sizes::n1,
        {{-1, -1}, {0, 0}, {1, 1}, {50, 50}, {63, 63}, {64, 64}, {65, 64}, {1000, 64}, {2999, 64}, {3000, 64}}, others,
        buffered);
    expect_points(1, {"SC", "PPTRF"}, &Sizes::n1,
                  {{1, 1}, {127, 127}, {128, 128}, {129, 128}, {2999, 128}, {3000, 128}}, others, buffered);
  }
  // 3001 columns in panels of at most 200 are 16 panels; 3250 are 17, and 18 for two buffers.
  expect_points(1, {"DZ", "PPTRF"}, &Sizes::n1,
                {{3001, 188}, {3200, 200}, {3201, 189}, {3250, 192}, {4000, 200}, {4001, 191}, {5000, 200}}, one_thread,
                buffered);
  expect_points(1, {"DZ", "PPTRF"}, &Sizes::n1, {{3001, 188}, {3250, 181}, {4000, 200}, {4001, 182}}, with_n2({2}),
                buffered);
  expect_points(1, {"DZ", "PPTRF"}, &Sizes::n1, {{3001, 143}, {4201, 151}}, with_n2({7}),
                buffered);  // 21 and 28 panels
  expect_points(1, {"SC", "PPTRF"}, &Sizes::n1, {{3001, 376}, {3200, 400}, {3201, 356}, {4000, 400}, {4001, 364}},
                one_thread, buffered);
  expect_points(1, {"SC", "PPTRF"}, &Sizes::n1, {{3001, 376}, {3250, 325}, {3601, 361}}, with_n2({2}), buffered);
  // The whole range of sizes has an answer.
  expect_answer(1, {"SDCZ", "PPTRF"}, "Memory", {largest, largest, -1, -1}, 1);
}

TEST(BlockSizes, OfPackedSolves) {
  for (const char* opts : {"Memory", "No Memory"}) {
    for (const Int n : {0, 1, 2, 10, 50}) expect_answer(1, {"SDCZ", "PPTRS"}, opts, {n, 10, -1, -1}, n);
    expect_answer(1, {"SDCZ", "PPTRS"}, opts, {1000, 10, -1, -1}, 16);
  }
  const auto up_to = [](Int limit) {
    return std::vector<Point>{{-1, -1},           {0, 0},          {1, 1}, {limit - 1, limit - 1}, {limit, limit},
                              {limit + 1, limit}, {largest, limit}};
  };
  expect_points(1, {"DZ", "TPTRS"}, &Sizes::n1, up_to(256));
  expect_points(1, {"SC", "TPTRS"}, &Sizes::n1, up_to(512));
}

// -------------------------------------------------------------------------------------------------- least block sizes

TEST(LeastBlockSizes, AreTwoButForOneFamily) {
  expect_fixed(2, {"SDCZ", "SYTRF"}, 8);
  expect_fixed(2, {"SDCZ", "GETRF GETRI TRTRI GEQRF HETRF SPTRF SYTRD SYTRS SYTRX TGSYL ZZZZZ GESV"}, 2);
}

// --------------------------------------------------------------------------------------------------------- crossovers

const FixedAnswers fixed_crossovers[] = {
    {1000000, {{"SDCZ", "SYEVD SYEVR SYEVX HEEVD HEEVR HEEVX"}}},
    {100000, {{"SDCZ", "LATRD"}}},
    {210, {{"SDCZ", "STEQR BDSQR"}}},
    {128, {{"SDCZ", "POTRF POTRS POTRI POTF2 POCON POXYZ PTTRS SPTRF"}, {"CZ", "HPTRF"}}},
    {100, {{"SD", "SYTRF"}, {"S", "SYTD2"}}},
    {80, {{"D", "SYTD2"}}},
    {64, {{"SDCZ", "GTTRS"}}},
    {60, {{"C", "HETD2"}}},
    {50, {{"SDCZ", "PPTRF"}}},
    {32,
     {{"SDCZ", "GEBRD GEHRD GELQF GEQLF GERQF"},
      {"SDCZ", "ORGBR ORGHR ORGLQ ORGQL ORGQR ORGRQ ORGTR"},
      {"SDCZ", "UNGBR UNGHR UNGLQ UNGQL UNGQR UNGRQ UNGTR UNG2R"}}},
    {0,
     {{"SDCZ", "GETRF GETRI TRTRI LAUUM LAQPS LAQRF LARFT PBTRF GBTRF"},
      {"SD", "SYGST SPTRD SYRDB ORMQR ORMTR SYTRS SPTRS"},
      {"CZ", "SYTRF HETRF SYTRS HETRS HPTRS HEGST HPTRD HERDB UNMQR UNMTR"},
      {"SDCZ", "GTSV"}}},
};

TEST(Crossovers, ThatDoNotDependOnSizes) {
  for (const auto& [answer, lists] : fixed_crossovers) {
    for (const Names& names : lists) expect_fixed(3, names, answer);
  }
}

TEST(Crossovers, OfSimpleEigenvalueDrivers) {
  // n1 is the number of threads.
  const std::vector<Int> threads = {-1, 0, 1, 2, 4, 8, 16, 64, largest};
  for (const Int n1 : threads) {
    for (const char* opts : {"V", "v", " ", "Vectors"}) {
      expect_answer(3, {"SD", "SYEV"}, opts, {n1, -1, -1, -1}, 1000000);
      expect_answer(3, {"CZ", "HEEV"}, opts, {n1, -1, -1, -1}, 1000000);
    }
  }
  // sqrt(n1 4000000) 0.6 - 500, sqrt(n1 8000000) 0.6 - 700 and sqrt(n1 8000000) 0.3 - 350, by hand.
  const struct {
    Names names;
    std::vector<Point> points;
  } cases[] = {
      {{"D", "SYEV"}, {{-1, 1100}, {0, 1100}, {1, 1100}, {2, 1197}, {3, 1578}, {4, 1900}, {8, 2894}, {16, 4300}}},
      {{"C", "HEEV"}, {{-1, 1100}, {0, 1100}, {1, 1100}, {2, 1197}, {3, 1578}, {4, 1900}, {8, 2894}, {16, 4300}}},
      {{"S", "SYEV"}, {{-1, 1562}, {0, 1562}, {1, 1562}, {2, 1700}, {4, 2694}, {8, 4100}, {16, 6088}}},
      {{"Z", "HEEV"}, {{-1, 781}, {0, 781}, {1, 781}, {2, 850}, {4, 1347}, {8, 2050}, {16, 3044}}},
  };
  for (const auto& [names, points] : cases) {
    for (const auto& [n1, answer] : points) {
      for (const char* opts : {"N", "n", "No vectors"}) expect_answer(3, names, opts, {n1, -1, -1, -1}, answer);
    }
  }
  // The name with five letters, as a C string has it.
  const char text[] = "DSYEV";
  EXPECT_EQ(routine_call::ilaenv(3, {text, 5}, "N", 4, -1, -1, -1), 1900);
  EXPECT_EQ(routine_call::ilaenv(3, {text, 5}, "V", 4, -1, -1, -1), 1000000);
}

TEST(Crossovers, OfTridiagonalReductions) {
  expect_points(3, {"S", "SYTRD"}, &Sizes::n1, {{-1, 250}, {1, 250}, {5000, 250}}, at_most_one_thread, any_uplo);
  expect_points(3, {"S", "SYTRD"}, &Sizes::n1, {{-1, 600}, {1, 600}, {5000, 600}}, more_threads, any_uplo);
  expect_points(3, {"D", "SYTRD"}, &Sizes::n1,
                {{lowest, 200}, {-3, 200}, {-2, 200}, {-1, 32}, {0, 200}, {1, 200}, {5000, 200}}, at_most_one_thread,
                any_uplo);
  expect_points(3, {"D", "SYTRD"}, &Sizes::n1,
                {{lowest, 500}, {-3, 500}, {-2, 500}, {-1, 32}, {0, 500}, {1, 500}, {5000, 500}}, more_threads,
                any_uplo);
  expect_points(3, {"C", "HETRD"}, &Sizes::n1, {{-1, 150}, {748, 150}, {749, 150}, {750, 200}, {751, 200}},
                at_most_one_thread, any_uplo);
  expect_points(3, {"C", "HETRD"}, &Sizes::n1, {{-1, 300}, {749, 300}, {750, 300}}, more_threads, any_uplo);

  expect_points(3, {"Z", "HETRD"}, &Sizes::n1, {{-1, 50}, {398, 50}, {399, 50}, {400, 100}, {401, 100}, {999, 100}},
                at_most_one_thread, any_uplo);
  expect_points(3, {"Z", "HETRD"}, &Sizes::n1, {{1000, 100}, {1001, 100}, {largest, 100}}, at_most_one_thread,
                lower_opts);
  expect_points(3, {"Z", "HETRD"}, &Sizes::n1, {{1000, 150}, {1001, 150}, {largest, 150}}, at_most_one_thread,
                upper_opts);
  expect_points(3, {"Z", "HETRD"}, &Sizes::n1, {{-1, 150}, {1398, 150}, {1399, 150}, {1400, 100}, {1401, 100}},
                more_threads, lower_opts);
  expect_points(3, {"Z", "HETRD"}, &Sizes::n1, {{-1, 150}, {1548, 150}, {1549, 150}, {1550, 100}, {1551, 100}},
                more_threads, upper_opts);
  expect_points(3, {"Z", "HETD2"}, &Sizes::n1, {{-1, 60}, {1398, 60}, {1399, 60}, {1400, 80}, {1401, 80}}, many_sizes,
                any_uplo);
}

TEST(Crossovers, OfQrFactorisations) {
  for (const Int n1 : {-1, 0, 1, 4000, 4001, 100000, largest}) {
    for (const Int n2 : {-1, 0, 1, 7, 8}) expect_answer(3, {"SDCZ", "GEQRF"}, " ", {n1, n2, -1, -1}, 128);
  }
  const struct {
    Int n1, n2, dcz, s;
  } cases[] = {
      {10, 9, 128, 256},    {9, 1388, 128, 256},   {9, 1389, 8, 256},     // 12492 and 12501
      {125, 100, 128, 256}, {100, 125, 128, 256},  {1250, 10, 128, 256},  // 12500 is not above 12500
      {126, 100, 8, 256},   {12, 1042, 8, 256},                           // 12504
      {250, 100, 8, 256},   {2500, 10, 8, 256},    {251, 100, 8, 8},      // 25000 and above
      {2501, 10, 8, 8},     {1388, 9, 128, 256},   {1389, 9, 8, 256},        {2777, 9, 8, 256},
      {2778, 9, 8, 8},      {4000, 9, 8, 8},       {4001, 9, 8, 8},          {0, 9, 128, 256},
      {-1, 9, 128, 256},    {4000, largest, 8, 8}, {largest, largest, 8, 8},
  };
  for (const auto& [n1, n2, dcz, s] : cases) {
    expect_answer(3, {"DCZ", "GEQRF"}, " ", {n1, n2, -1, -1}, dcz);
    expect_answer(3, {"S", "GEQRF"}, " ", {n1, n2, -1, -1}, s);
  }
}

TEST(Crossovers, OfBandAndPackedSolves) {
  expect_points(3, {"SDCZ", "GBTRS PBTRS TBTRS"}, &Sizes::n1,
                {{-1, 4}, {0, 4}, {126, 4}, {127, 4}, {128, 32}, {129, 32}, {largest, 32}});
  expect_points(3, {"SDCZ", "PPTRS TPTRS"}, &Sizes::n2,
                {{-1, 50000},
                 {0, 50000},
                 {1, 50000},
                 {4, 50000},
                 {5, 50000},
                 {6, 500},
                 {7, 500},
                 {10, 500},
                 {11, 500},
                 {12, 50},
                 {13, 50},
                 {largest, 50}},
                many_sizes, {" ", "  ", "Memory"});
}

// -------------------------------------------------------------------------------------------- names that are not held

/// Every name of which the tables of one ispec speak, with the fixed answers and those by size.
std::set<std::string> held_names(const std::string& by_size, const FixedAnswers* first, const FixedAnswers* last) {
  std::set<std::string> held;
  for (; first != last; ++first) {
    for (const Names& names : first->names) {
      if (first->answer == 0) continue;
      for (const std::string& name : names.all()) held.insert(name);
    }
  }
  // Words of the form PRECISIONS:OPERATION.
  for (const std::string& word : words(by_size)) {
    for (const std::string& name : Names{word.substr(0, word.find(':')), word.substr(word.find(':') + 1)}.all()) {
      held.insert(name);
    }
  }
  return held;
}

/// Names that differ from held ones in one letter get the answer for names that are not held, unless they are held too.
void expect_neighbours_unknown(Int ispec, const std::set<std::string>& held, bool (*has_pattern)(const std::string&),
                               Int otherwise) {
  int unknown = 0;
  for (const std::string& name : held) {
    for (std::size_t place = 0; place < 6; ++place) {
      for (const char letter : std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZ 2")) {
        std::string other = name;
        other.resize(6, ' ');
        other[place] = letter;
        if (std::string("SDCZ").find(other[0]) == std::string::npos) continue;
        if (held.contains(other) || has_pattern(other)) continue;
        // Sizes at which no rule gives the answer by chance.
        EXPECT_EQ(ask(ispec, other, "Memory", {100000, 3000, 5, 100}), otherwise) << ispec << " " << other;
        ++unknown;
      }
    }
  }
  EXPECT_GT(unknown, 5000);
}

TEST(Names, ThatTheBlockSizesDoNotHoldGetOne) {
  const auto held = held_names(
      "D:GETRF SDCZ:GEQRF SDCZ:LAQRF SDCZ:LARFT DC:SYTRS DC:SPTRS C:HETRS C:HPTRS S:SYTRS S:SPTRS Z:SYTRS Z:SPTRS "
      "Z:HETRS Z:HPTRS SDCZ:PBTRF SDCZ:GBTRF SDCZ:GBTRS SDCZ:PBTRS SDCZ:TBTRS SD:SYTRD CZ:HETRD SDCZ:SPTRF CZ:HPTRF "
      "D:SYRDB C:HERDB SDCZ:GTTRS SDCZ:PTTRS SDCZ:PPTRF SDCZ:PPTRS SDCZ:TPTRS SDCZ:STEQR SDCZ:BDSQR",
      std::begin(fixed_block_sizes), std::end(fixed_block_sizes));
  expect_neighbours_unknown(
      1, held,
      [](const std::string& name) {
        const bool real = name[0] == 'S' || name[0] == 'D';
        const std::string family = name.substr(1, 2), start = name.substr(1, 3), end = name.substr(4);
        return (real && (start == "ORG" || start == "ORM")) || ((family == "ST" || family == "BD") && end == "QR");
      },
      1);
}

TEST(Names, ThatTheCrossoversDoNotHoldGetNone) {
  const auto held = held_names(
      "SDCZ:SYEV SDCZ:HEEV SD:SYTRD CZ:HETRD Z:HETD2 SDCZ:GEQRF SDCZ:GBTRS SDCZ:PBTRS SDCZ:TBTRS SDCZ:PPTRS SDCZ:TPTRS",
      std::begin(fixed_crossovers), std::end(fixed_crossovers));
  expect_neighbours_unknown(
      3, held,
      [](const std::string& name) {
        const std::string family = name.substr(1, 2), end = name.substr(4);
        return family == "PO" || name.substr(1, 3) == "UNG" || ((family == "ST" || family == "BD") && end == "QR") ||
               name.substr(1, 4) == "SYEV" || name.substr(1, 4) == "HEEV";
      },
      0);
}

TEST(Names, ThatNoTableHolds) {
  for (const char* name : {"DZZZZZ", "szzzzz", "DGETRX", "CGETR ", "D     ", "D\0\0\0\0\0", "D[ETRF", "D@ETRF",
                           "D?????", "DG?TRF", "dge\xf4rf", "CORGQR", "SUNGQR", "CORMQR"}) {
    const std::string six(name, 6);
    EXPECT_EQ(ask(1, six, " ", {1000, 1000, 10, 100}), 1) << six;
    EXPECT_EQ(ask(2, six, " ", {1000, 1000, 10, 100}), 2) << six;
    if (six != "CORGQR" && six != "SUNGQR") {
      EXPECT_EQ(ask(3, six, " ", {1000, 1000, 10, 100}), 0) << six;
    }
  }
}

TEST(Names, WithoutAPrecisionGetOne) {
  for (const char* name : {"XGETRF", "xgetrf", "IGETRF", " GETRF", "\0GETRF", "1GETRF", "[GETRF", "{GETRF", "XSYTRF",
                           "XPOTRF", "XHSEQR", "?GETRF", "\xe4GETRF"}) {
    const std::string six(name, 6);
    for (const Int ispec : {1, 2, 3, 12}) EXPECT_EQ(ask(ispec, six, " ", {1000, 1000, -1, -1}), 1) << six << ispec;
  }
}

TEST(Names, AreReadAsSixCharactersWhateverTheLength) {
  const char text[] = "DGETRFS";
  for (const Int length : {0, 1, 5, 6, 7}) {
    EXPECT_EQ(routine_call::ilaenv(1, {text, length}, " ", 40, 40, -1, -1), 32) << length;
  }
  EXPECT_EQ(ask(1, "DGESV ", " ", {40, 40, -1, -1}), 1);
}

// ---------------------------------------------------------------------------------------------------- other questions

TEST(Questions, OutsideTheirRangeAreRefused) {
  for (const char* name : {"DGETRF", "XGETRF", "DZZZZZ", "DHSEQR"}) {
    for (const Int ispec : {0, -1, 17, 18, 100, largest, lowest}) {
      EXPECT_EQ(ask(ispec, name, " ", {1000, 1000, -1, -1}), -1) << name << ", ispec " << ispec;
    }
  }
}

TEST(Questions, ThatDoNotLookAtTheName) {
  const Point answers[] = {{4, 6}, {5, 2}, {7, 1}, {8, 50}, {9, 25}, {10, 1}, {11, 0}};
  for (const char* name : {"DGETRF", "dgetrf", "XGETRF", "DZZZZZ", "DHSEQR", "DLASQ2", "DSTEDC"}) {
    for (const auto& [ispec, answer] : answers) {
      for (const Sizes& n : many_sizes) EXPECT_EQ(ask(ispec, name, "N", n), answer) << name << " " << ispec;
    }
  }
}

TEST(Questions, AboutTheShapeThatWantsAQrFactorisationFirst) {
  for (const Int other : {1000, 1001, 5000, largest}) {
    EXPECT_EQ(ask(6, "DGESVD", "NN", {1000, other, 0, 0}), 1600);
    EXPECT_EQ(ask(6, "DGESVD", "NN", {other, 1000, 0, 0}), 1600);
  }
  const Point answers[] = {{0, 0},
                           {1, 1},
                           {2, 3},
                           {3, 4},
                           {4, 6},
                           {5, 8},
                           {6, 9},
                           {10, 16},
                           {625, 1000},
                           {999, 1598},
                           {-1, -1},
                           {100000, 160000},
                           {12345678, 19753086},
                           {1000000000, 1600000000},
                           {2000000000, largest},
                           {largest, largest}};
  for (const auto& [n, answer] : answers) EXPECT_EQ(ask(6, "QQQQQQ", " ", {n, n, 0, 0}), answer) << n;
}

TEST(Questions, TwelveGoByTheName) {
  for (const char* name : {"DHSEQR", "SHSEQR", "CHSEQR", "ZHSEQR", "dhseqr", "DLAQR0", "ZLAQR3", "CLAQR4"}) {
    EXPECT_EQ(ask(12, name, "SN", {1000, 1, 1000, 1000}), 75) << name;
  }
  EXPECT_EQ(ask(12, "DPOTRF", "U", {1000, -1, -1, -1}), 128);
  EXPECT_EQ(ask(12, "DGETRF", " ", {1000, 129, -1, -1}), 128);
  EXPECT_EQ(ask(12, "DHSEQX"), 1);
  EXPECT_EQ(ask(12, "DLAQPS"), 32);
  EXPECT_EQ(ask(12, "DLAQRF", " ", {100, 40, -1, -1}), 40);
  EXPECT_EQ(ask(12, "DZZZZZ"), 1);
}

TEST(Questions, ThirteenToSixteenAreHandedOn) {
  for (const char* name : {"DHSEQR", "DLAQR0", "DGETRF", "QQQQQQ"}) {
    // n, ilo, ihi, lwork: the active block has order 200.
    EXPECT_EQ(ask(13, name, "SV", {1000, 101, 300, 1}), 26);
    EXPECT_EQ(ask(14, name, "SV", {1000, 101, 300, 1}), 14);
    EXPECT_EQ(ask(15, name, "SV", {1000, 101, 300, 1}), 26);
    EXPECT_EQ(ask(16, name, "SV", {1000, 101, 300, 1}), 2);
  }
}

// ----------------------------------------------------------------------------------------- the Hessenberg QR iteration

Int ask_iteration(Int ispec, Int order) {
  return routine_call::iparmq(ispec, "DHSEQR", "SV", order + 10, 11, order + 10, -1);
}

TEST(HessenbergIteration, ShiftsAndWindows) {
  const struct {
    Int order, shifts, window, blocks;
  } cases[] = {
      {-1, 2, 2, 0},       {0, 2, 2, 0},        {1, 2, 2, 0},        {29, 2, 2, 0},          {30, 4, 4, 0},
      {31, 4, 4, 0},       {59, 4, 4, 0},       {60, 10, 10, 0},     {61, 10, 10, 0},        {149, 10, 10, 0},
      {150, 20, 20, 2},    {151, 20, 20, 2},                       // 150 / 7.2288 = 20.75
      {200, 26, 26, 2},                                            // 200 / 7.6439 = 26.16
      {255, 30, 30, 2},    {256, 32, 32, 2},    {257, 32, 32, 2},  // 255 / 7.9944 = 31.90, 256 / 8
      {400, 46, 46, 2},                                            // 400 / 8.6439 = 46.28
      {499, 54, 54, 2},    {500, 54, 54, 2},                       // 500 / 8.9658 = 55.77
      {501, 54, 81, 2},    {512, 56, 84, 2},                       // 512 / 9 = 56.89
      {588, 62, 93, 2},    {589, 64, 96, 2},                       // 588 / 9.1997 = 63.92, 589 / 9.2021 = 64.01
      {590, 64, 96, 2},    {591, 64, 96, 2},    {2999, 64, 96, 2},   {3000, 128, 192, 2},    {3001, 128, 192, 2},
      {5999, 128, 192, 2}, {6000, 256, 384, 2}, {6001, 256, 384, 2}, {1000000, 256, 384, 2},
  };
  for (const auto& [order, shifts, window, blocks] : cases) {
    EXPECT_EQ(ask_iteration(12, order), 75) << order;
    EXPECT_EQ(ask_iteration(13, order), window) << order;
    EXPECT_EQ(ask_iteration(14, order), 14) << order;
    EXPECT_EQ(ask_iteration(15, order), shifts) << order;
    EXPECT_EQ(ask_iteration(16, order), blocks) << order;
  }
}

TEST(HessenbergIteration, RefusesOtherQuestions) {
  for (const Int ispec : {11, 17, 0, 1, -1, largest, lowest}) EXPECT_EQ(ask_iteration(ispec, 200), -1) << ispec;
}

TEST(HessenbergIteration, TakesAnyBounds) {
  EXPECT_EQ(routine_call::iparmq(15, "DHSEQR", "SV", 0, lowest, largest, 0), 256);
  EXPECT_EQ(routine_call::iparmq(15, "DHSEQR", "SV", 0, largest, lowest, 0), 2);
}

TEST(Version, Is311) {
  Int major_version = 0, minor_version = 0, patch = 0;
  routine_call::ilaver(major_version, minor_version, patch);
  EXPECT_EQ(major_version, 3);
  EXPECT_EQ(minor_version, 1);
  EXPECT_EQ(patch, 1);
}

}  // namespace
}  // namespace nuv::test
