#include "tools/file_format.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace nuv::tools {
namespace {

using enum FileFormat;

TEST(Formats, AreToldBySuffixes) {
  for (const char* file : {"a.mtx", "a.mm", "a.b.MTX", "a.mtx.gz", "folder/a.Mm.GZ"}) {
    EXPECT_EQ(format_by_suffix(file), MatrixMarket) << file;
  }
  for (const char* file : {"a.npy", "a.npy.gz"}) EXPECT_EQ(format_by_suffix(file), Npy) << file;
  EXPECT_EQ(format_by_suffix("a.csv"), Csv);
  for (const char* file : {"a.tsv", "a.txt", "a.dat", "a.dat.gz"}) EXPECT_EQ(format_by_suffix(file), Table) << file;
  for (const char* file : {"", "a", "a.gz", ".mtx", ".gz", "mtx", "a.mtx.b", "a.npz"}) {
    EXPECT_EQ(format_by_suffix(file), std::nullopt) << file;
  }
}

TEST(Formats, OfFilesToBeReadAreToldByTheirStartThenTheirSuffixThenTheOption) {
  EXPECT_EQ(format_to_read("%%matrixMARKET matrix", "a.npy", Csv), MatrixMarket);
  EXPECT_EQ(format_to_read("\xEF\xBB\xBF%%MatrixMarket", "a.csv", Csv), MatrixMarket);
  EXPECT_EQ(format_to_read("\x93NUMPY", "a.mtx", Csv), Npy);
  EXPECT_EQ(format_to_read("1 2", "a.mtx", Csv), MatrixMarket);
  EXPECT_EQ(format_to_read("1 2", "a", Npy), Npy);
  EXPECT_EQ(format_to_read("", "-", std::nullopt), Table);
}

TEST(Formats, OfFilesToBeWrittenAreToldByTheOptionThenTheSuffix) {
  EXPECT_EQ(format_to_write("a.csv", Npy), Npy);
  EXPECT_EQ(format_to_write("a.csv.gz", std::nullopt), Csv);
  EXPECT_EQ(format_to_write("a", std::nullopt), MatrixMarket);
  EXPECT_EQ(format_to_write(std::nullopt, std::nullopt), MatrixMarket);
  EXPECT_EQ(format_to_write(std::nullopt, Table), Table);
}

}  // namespace
}  // namespace nuv::tools
