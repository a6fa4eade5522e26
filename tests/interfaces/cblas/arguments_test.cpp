// Every bad argument is reported by its place in the call, of two the first, and nothing is written.

#include <nuv/cblas.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <functional>
#include <sstream>
#include <type_traits>
#include <utility>

#include "interfaces/cblas/heard.hpp"

namespace nuv::test {
namespace {

class Arguments : public CblasTest {};

/// An argument that can be bad: of an option its settings, of a number one that is good and one that is not.
struct Checked {
  std::string name;
  int position;
  int good[2], bad[2];  ///< column by column and row by row
};

/// Any array or scalar that is passed by address. The numbers in it are neither zero nor large in any precision.
std::array<std::uint32_t, 4096> memory;

template <class A>
A argument_as(int value) {
  if constexpr (std::is_pointer_v<A>) return reinterpret_cast<A>(memory.data());
  else return static_cast<A>(value);
}

/// A routine called with one number for each argument; those for pointers and factors are not looked at.
struct Routine {
  std::string name;
  std::vector<bool> is_checked;
  std::function<void(const std::vector<int>&)> call;
};

template <class... A, std::size_t... Place>
Routine routine_of(const char* name, void (*function)(A...), std::index_sequence<Place...>) {
  return {name, {(std::is_enum_v<A> || std::is_same_v<A, int>)...}, [=](const std::vector<int>& values) {
            function(argument_as<A>(values[Place])...);
          }};
}

template <class... A>
Routine routine_of(const char* name, void (*function)(A...)) {
  return routine_of(name, function, std::index_sequence_for<A...>());
}

int setting(char letter) {
  switch (letter) {
    case 'N':
      return CblasNoTrans;
    case 'T':
      return CblasTrans;
    case 'C':
      return CblasConjTrans;
    case 'L':
      return CblasLeft;
    default:
      return CblasRight;
  }
}

/// From the names of all options and integers behind the layout, in order:
///
///     trans=T side=R        a setting; others have the first they can
///     m=3                   a size
///     lda=3/4               the least leading dimension column by column, and row by row
std::vector<Checked> checked_arguments(const Routine& routine, const std::string& description) {
  std::vector<Checked> checked = {{"layout", 1, {CblasColMajor, CblasRowMajor}, {0, 0}}};
  std::istringstream words(description);
  for (std::size_t i = 1; i < routine.is_checked.size(); ++i) {
    if (!routine.is_checked[i]) continue;
    std::string word;
    words >> word;
    const auto equals = std::min(word.find('='), word.size());
    const std::string name = word.substr(0, equals);
    const std::string value = equals < word.size() ? word.substr(equals + 1) : "";
    const int position = int(i) + 1;
    if (name.starts_with("ld")) {
      const int by_columns = std::stoi(value), by_rows = std::stoi(value.substr(value.find('/') + 1));
      checked.push_back({name, position, {by_columns, by_rows}, {by_columns - 1, by_rows - 1}});
    } else if (name.starts_with("inc")) {
      checked.push_back({name, position, {1, 1}, {0, 0}});
    } else if (name.starts_with("trans") || name == "side") {
      const int chosen = setting(value.empty() ? (name == "side" ? 'L' : 'N') : value[0]);
      checked.push_back({name, position, {chosen, chosen}, {0, 0}});
    } else if (name == "uplo" || name == "diag") {
      const int chosen = name == "uplo" ? int(CblasUpper) : int(CblasNonUnit);
      checked.push_back({name, position, {chosen, chosen}, {0, 0}});
    } else {
      const int size = std::stoi(value);
      checked.push_back({name, position, {size, size}, {-1, -1}});
    }
  }
  return checked;
}

/// Calls with these arguments bad, and expects a report of the first of them.
void expect_report(const Routine& routine, const std::vector<Checked>& checked, int layout, const Checked* one,
                   const Checked* other) {
  std::vector<int> values(routine.is_checked.size());
  for (const Checked& argument : checked) {
    const bool is_bad = &argument == one || &argument == other;
    values[std::size_t(argument.position - 1)] = (is_bad ? argument.bad : argument.good)[layout];
  }
  memory.fill(0x3f803f80);
  const auto before = memory;
  routine.call(values);
  const auto heard = take_heard();
  if (one == nullptr) {
    EXPECT_TRUE(heard.empty());
    return;
  }
  const Checked& first = one->position < other->position ? *one : *other;
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_EQ(heard[0].position, first.position);
  EXPECT_EQ(heard[0].routine, routine.name);
  EXPECT_TRUE(heard[0].reason.starts_with(first.name + " is ")) << heard[0].reason;
  EXPECT_EQ(heard[0].reason.back(), '\n');
  EXPECT_TRUE(memory == before);
}

void expect_reports(const Routine& routine, const std::string& description) {
  const auto checked = checked_arguments(routine, description);
  for (const int layout : {0, 1}) {
    expect_report(routine, checked, layout, nullptr, nullptr);
    for (const Checked& one : checked) {
      for (const Checked& other : checked) {
        SCOPED_TRACE(routine.name + ", layout " + std::to_string(layout) + ", " + one.name + " and " + other.name);
        expect_report(routine, checked, layout, &one, &other);
      }
    }
  }
}

#define EXPECT_REPORTS(name, description) expect_reports(routine_of("cblas_" #name, cblas_##name), description)
#define REAL(name, description)         \
  EXPECT_REPORTS(s##name, description); \
  EXPECT_REPORTS(d##name, description)
#define COMPLEX(name, description)      \
  EXPECT_REPORTS(c##name, description); \
  EXPECT_REPORTS(z##name, description)
#define ALL(name, description) \
  REAL(name, description);     \
  COMPLEX(name, description)

TEST_F(Arguments, OfGeneralMatricesAndVectors) {
  ALL(gemv, "trans m=3 n=4 lda=3/4 incx incy");
  ALL(gemv, "trans=C m=3 n=4 lda=3/4 incx incy");
  ALL(gbmv, "trans m=3 n=4 kl=1 ku=2 lda=4/4 incx incy");
  REAL(ger, "m=3 n=4 incx incy lda=3/4");
  COMPLEX(geru, "m=3 n=4 incx incy lda=3/4");
  COMPLEX(gerc, "m=3 n=4 incx incy lda=3/4");
}

TEST_F(Arguments, OfSymmetricMatricesAndVectors) {
  REAL(symv, "uplo n=3 lda=3/3 incx incy");
  REAL(sbmv, "uplo n=3 k=1 lda=2/2 incx incy");
  REAL(spmv, "uplo n=3 incx incy");
  REAL(syr, "uplo n=3 incx lda=3/3");
  REAL(spr, "uplo n=3 incx");
  REAL(syr2, "uplo n=3 incx incy lda=3/3");
  REAL(spr2, "uplo n=3 incx incy");
  COMPLEX(hemv, "uplo n=3 lda=3/3 incx incy");
  COMPLEX(hbmv, "uplo n=3 k=1 lda=2/2 incx incy");
  COMPLEX(hpmv, "uplo n=3 incx incy");
  COMPLEX(her, "uplo n=3 incx lda=3/3");
  COMPLEX(hpr, "uplo n=3 incx");
  COMPLEX(her2, "uplo n=3 incx incy lda=3/3");
  COMPLEX(hpr2, "uplo n=3 incx incy");
}

TEST_F(Arguments, OfTrianglesAndVectors) {
  ALL(trmv, "uplo trans diag n=3 lda=3/3 incx");
  ALL(tbmv, "uplo trans diag n=3 k=1 lda=2/2 incx");
  ALL(tpmv, "uplo trans diag n=3 incx");
  ALL(trsv, "uplo trans diag n=3 lda=3/3 incx");
  ALL(tbsv, "uplo trans diag n=3 k=1 lda=2/2 incx");
  ALL(tpsv, "uplo trans diag n=3 incx");
}

TEST_F(Arguments, OfProducts) {
  for (const auto& [transa, lda] :
       {std::pair{"transa=N ", "lda=3/5 "}, {"transa=T ", "lda=5/3 "}, {"transa=C ", "lda=5/3 "}}) {
    for (const auto& [transb, ldb] : {std::pair{"transb=N ", "ldb=5/4 "}, {"transb=T ", "ldb=4/5 "}}) {
      const auto description = std::string(transa) + transb + "m=3 n=4 k=5 " + lda + ldb + "ldc=3/4";
      ALL(gemm, description);
      COMPLEX(gemm3m, description);
    }
  }
}

TEST_F(Arguments, OfSidedProducts) {
  for (const auto& [side, order] : {std::pair{"side=L ", "3/3 "}, {"side=R ", "4/4 "}}) {
    const auto sums = std::string(side) + "uplo m=3 n=4 lda=" + order + "ldb=3/4 ldc=3/4";
    ALL(symm, sums);
    COMPLEX(hemm, sums);
    const auto in_place = std::string(side) + "uplo transa diag m=3 n=4 lda=" + order + "ldb=3/4";
    ALL(trmm, in_place);
    ALL(trsm, in_place);
  }
}

TEST_F(Arguments, OfUpdates) {
  ALL(syrk, "uplo trans=N n=3 k=4 lda=3/4 ldc=3/3");
  ALL(syrk, "uplo trans=T n=3 k=4 lda=4/3 ldc=3/3");
  REAL(syrk, "uplo trans=C n=3 k=4 lda=4/3 ldc=3/3");
  ALL(syr2k, "uplo trans=N n=3 k=4 lda=3/4 ldb=3/4 ldc=3/3");
  ALL(syr2k, "uplo trans=T n=3 k=4 lda=4/3 ldb=4/3 ldc=3/3");
  REAL(syr2k, "uplo trans=C n=3 k=4 lda=4/3 ldb=4/3 ldc=3/3");
  COMPLEX(herk, "uplo trans=N n=3 k=4 lda=3/4 ldc=3/3");
  COMPLEX(herk, "uplo trans=C n=3 k=4 lda=4/3 ldc=3/3");
  COMPLEX(her2k, "uplo trans=N n=3 k=4 lda=3/4 ldb=3/4 ldc=3/3");
  COMPLEX(her2k, "uplo trans=C n=3 k=4 lda=4/3 ldb=4/3 ldc=3/3");
}

/// Expects that one call was heard as bad.
void expect_heard(const std::string& routine, int position, const std::string& reason) {
  const auto heard = take_heard();
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_EQ(heard[0].position, position);
  EXPECT_EQ(heard[0].routine, routine);
  EXPECT_EQ(heard[0].reason, reason);
}

TEST_F(Arguments, ComplexSymmetricUpdatesHaveNoAdjointAndHermitianOnesNoTranspose) {
  void* const any = memory.data();
  for (const CBLAS_LAYOUT layout : {CblasRowMajor, CblasColMajor}) {
    cblas_csyrk(layout, CblasUpper, CblasConjTrans, 2, 2, any, any, 2, any, any, 2);
    expect_heard("cblas_csyrk", 3, "trans is 113, which is none of its settings\n");
    cblas_zsyr2k(layout, CblasUpper, CblasConjTrans, 2, 2, any, any, 2, any, 2, any, any, 2);
    expect_heard("cblas_zsyr2k", 3, "trans is 113, which is none of its settings\n");
    cblas_zherk(layout, CblasUpper, CblasTrans, 2, 2, 1, any, 2, 1, any, 2);
    expect_heard("cblas_zherk", 3, "trans is 112, which is none of its settings\n");
    cblas_cher2k(layout, CblasUpper, CblasTrans, 2, 2, any, any, 2, any, 2, 1, any, 2);
    expect_heard("cblas_cher2k", 3, "trans is 112, which is none of its settings\n");
  }
}

TEST_F(Arguments, TheHeightOfABandIsNotCutOff) {
  double* const any = nullptr;
  cblas_dgbmv(CblasRowMajor, CblasNoTrans, 1, 1, INT_MAX, INT_MAX, 1, any, 5, any, 1, 1, any, 1);
  expect_heard("cblas_dgbmv", 9, "lda is 5, less than 4294967295\n");
  cblas_dtbmv(CblasRowMajor, CblasUpper, CblasNoTrans, CblasUnit, 1, INT_MAX, any, 5, any, 1);
  expect_heard("cblas_dtbmv", 8, "lda is 5, less than 2147483648\n");
}

TEST_F(Arguments, ALeadingDimensionIsNeverZero) {
  double* const any = nullptr;
  cblas_dgemv(CblasRowMajor, CblasNoTrans, 0, 0, 1, any, 0, any, 1, 1, any, 1);
  expect_heard("cblas_dgemv", 7, "lda is 0, less than 1\n");
  cblas_dgemv(CblasRowMajor, CblasNoTrans, 0, 0, 1, any, 1, any, 0, 1, any, 1);
  expect_heard("cblas_dgemv", 9, "incx is zero\n");
}

}  // namespace
}  // namespace nuv::test
