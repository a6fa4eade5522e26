#include "tools/npy.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <complex>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tools/error.hpp"
#include "tools/matrix_writer.hpp"

namespace nuv::tools {
namespace {

StoredMatrix read(const std::string& bytes, Precision precision = Precision::Double) {
  Input input = Input::of(bytes, "test.npy");
  return read_npy(input, precision);
}

std::string message(const std::string& bytes, Precision precision = Precision::Double) {
  try {
    read(bytes, precision);
  } catch (const FileError& error) {
    return error.what();
  }
  return "read";
}

/// What stands in front of the elements, in a version of the format.
std::string head(const std::string& dictionary, char version = 1) {
  const std::string text = dictionary + "\n";
  std::string result = std::string("\x93NUMPY") + version + '\0';
  result += static_cast<char>(text.size() % 256);
  result += static_cast<char>(text.size() / 256);
  if (version > 1) result += std::string(2, '\0');
  return result + text;
}

std::string head(const std::string& type, bool by_columns, const std::string& shape, char version = 1) {
  return head(
      "{'descr': '" + type + "', 'fortran_order': " + (by_columns ? "True" : "False") + ", 'shape': " + shape + ", }",
      version);
}

template <class T>
std::string bytes_of(const std::vector<T>& numbers, bool swapped = false) {
  std::string result;
  for (const T x : numbers) {
    std::string bytes(sizeof x, '\0');
    std::memcpy(bytes.data(), &x, sizeof x);
    if (swapped) std::reverse(bytes.begin(), bytes.end());
    result += bytes;
  }
  return result;
}

template <class T>
void expect_read(const std::string& type, Field field) {
  const std::vector<T> numbers = {1, 2, 3, 100, 5, 6};
  for (const bool swapped : {false, true}) {
    const std::string name = (sizeof(T) == 1 ? "|" : swapped ? ">" : "<") + type;
    SCOPED_TRACE(name);
    const StoredMatrix by_columns = read(head(name, true, "(2, 3)") + bytes_of(numbers, swapped));
    EXPECT_EQ(by_columns.values, (std::vector<double>{1, 2, 3, 100, 5, 6}));
    EXPECT_EQ(by_columns.field, field);
    EXPECT_EQ(by_columns.rows, 2);
    EXPECT_EQ(by_columns.columns, 3);
    const StoredMatrix by_rows = read(head(name, false, "(2, 3)") + bytes_of(numbers, swapped));
    EXPECT_EQ(by_rows.values, (std::vector<double>{1, 100, 2, 5, 3, 6}));
  }
}

TEST(Npy, ReadsEachTypeInEitherOrderOfElementsAndBytes) {
  expect_read<float>("f4", Field::Real);
  expect_read<double>("f8", Field::Real);
  expect_read<std::int8_t>("i1", Field::Integer);
  expect_read<std::int16_t>("i2", Field::Integer);
  expect_read<std::int32_t>("i4", Field::Integer);
  expect_read<std::int64_t>("i8", Field::Integer);
  expect_read<std::uint8_t>("u1", Field::Integer);
  expect_read<std::uint16_t>("u2", Field::Integer);
  expect_read<std::uint32_t>("u4", Field::Integer);
  expect_read<std::uint64_t>("u8", Field::Integer);
}

TEST(Npy, ReadsComplexNumbers) {
  const std::vector<double> numbers = {1, -2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(read(head("<c16", false, "(2, 2)") + bytes_of(numbers)).values,
            (std::vector<double>{1, -2, 5, 6, 3, 4, 7, 8}));
  const StoredMatrix swapped = read(head(">c16", true, "(2, 2)") + bytes_of(numbers, true));
  EXPECT_EQ(swapped.values, numbers);
  EXPECT_TRUE(swapped.is_complex());
  EXPECT_EQ(read(head("<c8", true, "(4, 1)") + bytes_of(std::vector<float>{1, -2, 3, 4, 5, 6, 7, 8})).values, numbers);
}

TEST(Npy, ReadsNegativeAndLargeIntegers) {
  EXPECT_EQ(read(head("<i2", true, "(2,)") + bytes_of(std::vector<std::int16_t>{-3, 300})).values,
            (std::vector<double>{-3, 300}));
  EXPECT_EQ(read(head("<u8", true, "(1,)") + bytes_of(std::vector<std::uint64_t>{~std::uint64_t{0}})).values,
            std::vector<double>{18446744073709551616.});
}

TEST(Npy, TakesEachVersionAndSpelling) {
  const std::string one = bytes_of(std::vector<double>{7});
  for (const char version : {1, 2, 3}) EXPECT_EQ(read(head("<f8", false, "(1, 1)", version) + one).values[0], 7);
  for (const std::string dictionary : {"{'descr':'<f8','fortran_order':False,'shape':(1,1)}",
                                       "{\"shape\": (1L, 1L), \"descr\": \"=f8\", \"fortran_order\": True }   ",
                                       " { 'shape' : ( 1 , ) , 'fortran_order' : False , 'descr' : '<f8' , } "}) {
    EXPECT_EQ(read(head(dictionary) + one).values[0], 7) << dictionary;
  }
}

TEST(Npy, TakesFewerDimensions) {
  const std::string three = bytes_of(std::vector<double>{7, 8, 9});
  const StoredMatrix column = read(head("<f8", false, "(3,)") + three);
  EXPECT_EQ(column.rows, 3);
  EXPECT_EQ(column.columns, 1);
  EXPECT_EQ(column.values, (std::vector<double>{7, 8, 9}));
  const StoredMatrix scalar = read(head("<f8", false, "()") + bytes_of(std::vector<double>{7}));
  EXPECT_EQ(scalar.rows, 1);
  EXPECT_EQ(scalar.columns, 1);
  EXPECT_EQ(read(head("<f8", false, "(0, 3)")).stored(), 0u);
}

TEST(Npy, RoundsToSinglePrecision) {
  EXPECT_EQ(read(head("<f8", true, "(1,)") + bytes_of(std::vector<double>{0.1}), Precision::Single).values[0],
            static_cast<double>(0.1f));
  EXPECT_EQ(read(head("<f4", true, "(1,)") + bytes_of(std::vector<float>{0.1f})).precision, Precision::Single);
}

TEST(Npy, RefusesWhatIsNoMatrixOfNumbers) {
  const std::string one = bytes_of(std::vector<double>{7});
  EXPECT_EQ(message("1 2\n"), "test.npy: not an npy file: it does not begin with \\x93NUMPY");
  EXPECT_EQ(message(head("<f8", false, "(1, 1)", 4) + one), "test.npy: version 4 of the format is not known");
  EXPECT_EQ(message(head("<f8", false, "(1, 1, 1)") + one), "test.npy: an array of 3 dimensions is no matrix");
  EXPECT_EQ(message(head("<f8", false, "(1, 2147483648)") + one),
            "test.npy: a dimension of 2147483648 is more than 2147483647");
  const std::string types =
      " can't be read, those of real, complex and integer types of up to 8 bytes can (16 for complex)";
  for (const std::string type : {"<f2", "<f16", "|b1", "<U8", "|O", "", "f8", "<f88"}) {
    EXPECT_EQ(message(head(type, false, "(1, 1)") + one), "test.npy: elements of type '" + type + "'" + types);
  }
  EXPECT_EQ(message(head("{'descr': [('x', '<f8')], 'fortran_order': False, 'shape': (1,)}") + one),
            "test.npy: the elements are records, only numbers can be read");
  EXPECT_EQ(message(head("<f8", false, "(2147483647, 2147483647)")).substr(0, 66),
            "test.npy: a 2147483647 by 2147483647 matrix takes 6.87e+10 GiB to ");
}

TEST(Npy, RefusesDamagedHeaders) {
  for (const std::string dictionary :
       {"", "{", "{}", "[]", "{'descr': '<f8', 'fortran_order': False}", "{'descr': '<f8', 'shape': (1,)}",
        "{'fortran_order': False, 'shape': (1,)}", "{'shape': (1,), 'fortran_order': False, 'shape': (1,)}",
        "{'descr': '<f8', 'fortran_order': False, 'shape': (1,), 'more': 1}",
        "{'descr': '<f8', 'fortran_order': Maybe, 'shape': (1,)}",
        "{'descr': '<f8', 'fortran_order': True, 'shape': 1}",
        "{'descr': '<f8', 'fortran_order': True, 'shape': (-1,)}", "{'descr: <f8}",
        "{'descr': '<f8' 'fortran_order': True, 'shape': (1,)}",
        "{'descr': '<f8', 'fortran_order': True, 'shape': (99999999999999999999,)}"}) {
    EXPECT_EQ(message(head(dictionary)), "test.npy: the header is damaged") << dictionary;
  }
  const std::string whole = head("<f8", true, "(1,)");
  for (const std::size_t size : {7u, 9u, 11u, 40u}) {
    EXPECT_EQ(message(whole.substr(0, size)), "test.npy: the file ends in the header") << size;
  }
  EXPECT_EQ(message(std::string("\x93NUMPY\2\0\xff\xff\xff\xff", 12)), "test.npy: the header is damaged");
}

TEST(Npy, RefusesTooFewAndTooManyElements) {
  const std::string three = head("<f8", true, "(3, 1)"), numbers = bytes_of(std::vector<double>{7, 8, 9});
  EXPECT_EQ(message(three + numbers.substr(0, 23)), "test.npy: the file ends after 2 of 3 elements");
  EXPECT_EQ(message(three), "test.npy: the file ends after 0 of 3 elements");
  EXPECT_EQ(message(three + numbers + "\n"), "test.npy: unexpected data after the last of 3 elements");
}

TEST(Npy, RefusesNumbersByTheirPlace) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::string bytes = bytes_of(std::vector<double>{1, 2, 3, 4, nan, 6});
  EXPECT_EQ(message(head("<f8", true, "(2, 3)") + bytes), "test.npy: element (1, 3) is not a finite number");
  EXPECT_EQ(message(head("<f8", false, "(2, 3)") + bytes), "test.npy: element (2, 2) is not a finite number");
  EXPECT_EQ(message(head("<c16", false, "(3, 1)") + bytes), "test.npy: element (3, 1) is not a finite number");
  const auto in_single = [](double x) {
    return message(head("<f8", true, "(1, 2)") + bytes_of(std::vector<double>{1, x}), Precision::Single);
  };
  EXPECT_EQ(in_single(1e39), "test.npy: element (1, 2) overflows single precision: 1e+39");
  EXPECT_EQ(in_single(-1e-60), "test.npy: element (1, 2) underflows single precision: -1e-60");

  std::vector<double> many(200001, 1.);  // more than are converted at once
  many.back() = 1e39;
  EXPECT_EQ(message(head("<f8", true, "(200001,)") + bytes_of(many), Precision::Single),
            "test.npy: element (200001, 1) overflows single precision: 1e+39");
}

template <class T>
class NpyOf : public testing::Test {};
using Scalars = testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(NpyOf, Scalars);

TYPED_TEST(NpyOf, ComesBackAsItWasWritten) {
  using T = TypeParam;
  DenseMatrix<T> a(3, 2);
  for (Int j = 1; j <= 2; ++j) {
    for (Int i = 1; i <= 3; ++i) a(i, j) = T(Real<T>(i) / 3) * (ComplexScalar<T> ? narrowed<T>({0, j / 7.}) : T(-1));
  }
  std::string bytes;
  write_matrix(a, FileFormat::Npy, [&](std::string_view text) { bytes += text; });
  EXPECT_EQ(bytes.find('\n') % 64, 63u);  // elements are aligned in memory that a file is mapped to
  EXPECT_EQ(to_dense<T>(read(bytes)).elements, a.elements);
}

}  // namespace
}  // namespace nuv::tools
