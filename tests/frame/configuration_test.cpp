// The configuration file: where it is looked for, how its lines are read, what stands in the tables afterwards.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <nuv/nuv_services.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "base/platform.hpp"
#include "frame/configuration.hpp"
#include "frame/frame_test_support.hpp"
#include "frame/plain_word.hpp"

namespace nuv::test {
namespace {

using namespace std::string_literals;

const std::string kpa = NUV_LIBRARY_FILE("libnuv_kpa");
const std::string kpb = NUV_LIBRARY_FILE("libnuv_kpb");

/// The tables as the probe prints them.
struct Tables {
  std::vector<std::string> kernels = {kpa, kpa, kpa, kpa, kpb};
  std::string lapack = NUV_LIBRARY_FILE("libnuv_lapack");
  std::string oql = NUV_LIBRARY_FILE("libnuv_oql");

  std::string text() const {
    std::string text;
    for (std::size_t tier = 0; tier < kernels.size(); ++tier) {
      text += std::to_string(tier) + " [" + kernels[tier] + "]\n";
    }
    return text + "lapack [" + lapack + "]\noql [" + oql + "]\n";
  }
};

std::string opened(std::initializer_list<std::string> paths) {
  std::string text;
  for (const std::string& path : paths) text += "open [" + path + "]\n";
  return text;
}

/// A path of exactly that length to the same place: slashes in a row count as one.
std::string stretched(const std::string& path, std::size_t length) {
  return std::string(length - path.size(), '/') + path;
}

class Configuration : public testing::Test {
 protected:
  std::string run(const Environment& environment, const std::vector<std::string>& operations) {
    const ChildResult result = run_probe(folder.path().string(), environment, operations);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return result.output;
  }

  /// The tables after a file with this content was read.
  std::string tables_after(const std::string& content) {
    folder.file("nuv.cfg", content);
    return run({}, {"tables:", "cfg:0", "tables:"}).substr(empty_tables().size());
  }

  static std::string empty_tables() {
    Tables tables;
    tables.kernels.assign(5, "");
    tables.lapack = tables.oql = "";
    return tables.text();
  }

  static std::string read(const Tables& tables) { return "cfg -777\n" + tables.text(); }

  ScratchFolder folder;
};

// ------------------------------------------------------------------------------------------------ tables and codes

TEST(ConfigurationDefaults, AreExported) {
  for (int tier = 0; tier < 4; ++tier) EXPECT_EQ(dll_def_names[tier], kpa);
  EXPECT_EQ(dll_def_names[4], kpb);
  EXPECT_STREQ(dll_def_names_l[0], NUV_LIBRARY_FILE("libnuv_lapack"));
  EXPECT_STREQ(dll_def_names_oql[0], NUV_LIBRARY_FILE("libnuv_oql"));
}

TEST_F(Configuration, TablesAreEmptyUntilTheReaderRuns) {
  EXPECT_EQ(run({}, {"tables", "word"}), empty_tables() + "word 0\n");
}

TEST_F(Configuration, WithoutAFileTheDefaultsStand) {
  EXPECT_EQ(run({}, {"cfg:0", "word", "tables", "held"}), "cfg -111\nword -111\n" + Tables().text());
}

TEST_F(Configuration, ASecondCallDoesNothingAndSaysSo) {
  EXPECT_EQ(run({}, {"cfg:0", "cfg:0", "word", "cfg:1", "word"}), "cfg -111\ncfg 333\nword 333\ncfg 333\nword 333\n");
  folder.file("nuv.cfg", "nuv_sse1so=one.so\n");
  Tables expected;
  expected.kernels[1] = "one.so";
  EXPECT_EQ(run({}, {"cfg:0", "word", "cfg:0", "word", "tables"}),
            "cfg -777\nword -777\ncfg 333\nword 333\n" + expected.text());
}

TEST_F(Configuration, ANonZeroArgumentReadsTheFileButAppliesNoKey) {
  const std::string file = folder.file("nuv.cfg", "nuv_sse1so=one.so\nnuv_lapackso=other.so\n");
  for (const std::string argument : {"1", "-1"}) {
    EXPECT_EQ(run({}, {"cfg:" + argument, "word", "tables", "held"}),
              "cfg -777\nword -777\n" + Tables().text() + "held [" + file + "]\n");
  }
  EXPECT_EQ(run({}, {"cfg:1", "cfg:0", "tables"}), "cfg -777\ncfg 333\n" + Tables().text());
}

TEST_F(Configuration, TheFileThatWasReadStaysOpenAndNothingElse) {
  const std::string file = folder.file("second/nuv.cfg", "");
  folder.folder("first/nuv.cfg");
  folder.folder("nuv.cfg/nuv.cfg");
  const Environment environment = {{"PATH", folder.path("first") + ":" + folder.path("second")}};
  EXPECT_EQ(run(environment, {"cfg:0", "cfg:0", "held"}), "cfg -777\ncfg 333\nheld [" + file + "]\n");
}

TEST_F(Configuration, ThreadsThatStartAtOnceFindTheSameNames) {
  const std::string file = folder.file("nuv.cfg", "nuv_sse2so=two.so\nnuv_lapackso=other.so\n");
  setenv("NUV_CFG_FILE", file.c_str(), 1);
  std::vector<std::thread> threads;
  std::vector<int> results(8);
  for (int& result : results) {
    threads.emplace_back([&result] {
      result = nuv_cfg_file(0);
      // Another thread may be writing the entry; what is taken out of it ends all the same.
      EXPECT_LT(std::string(LibraryName(dll_cfg_names[2]).text()).size(), std::size_t{name_room});
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const int result : results) EXPECT_TRUE(result == -777 || result == 333) << result;
  EXPECT_STREQ(LibraryName(dll_cfg_names[2]).text(), "two.so");
  EXPECT_STREQ(LibraryName(dll_cfg_names_l).text(), "other.so");
  EXPECT_EQ(LibraryName(dll_cfg_names[4]).text(), kpb);
  EXPECT_EQ(nuv_cfg_file(0), 333);
  unsetenv("NUV_CFG_FILE");
  forget_configuration();
}

// Until a run has finished, another thread must make its own. The file is a pipe, which holds the reader up.
TEST_F(Configuration, ARunCountsOnceItHasFinished) {
  const std::string pipe = folder.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  setenv("NUV_CFG_FILE", pipe.c_str(), 1);
  const int writer = open(pipe.c_str(), O_RDWR);
  std::thread reader([] { EXPECT_EQ(nuv_cfg_file(0), -777); });
  const std::string line = "nuv_sse2so=two.so\n";
  EXPECT_EQ(write(writer, line.data(), line.size()), static_cast<ssize_t>(line.size()));
  while (LibraryName(dll_cfg_names[2]).text() != std::string("two.so")) std::this_thread::yield();
  EXPECT_EQ(plain_load(cfg_file_readed), 0);
  EXPECT_EQ(plain_load(__nuv_cfg_file_readed_extern), 0);
  close(writer);
  reader.join();
  EXPECT_EQ(cfg_file_readed, 1);
  EXPECT_EQ(__nuv_cfg_file_readed_extern, -777);
  unsetenv("NUV_CFG_FILE");
  forget_configuration();
}

TEST(LibraryNameTest, EndsWithinItsRoomWhateverStandsInTheEntry) {
  char entry[name_room];
  for (char& c : entry) c = 'x';
  EXPECT_EQ(LibraryName(entry).text(), std::string(name_room - 1, 'x'));
}

// ------------------------------------------------------------------------------------------------------------ lines

struct KeyCase {
  const char* key;
  int tier;  ///< -1: the entry of this library, -2: of the sibling
};

class ConfigurationKey : public Configuration, public testing::WithParamInterface<KeyCase> {};

TEST_P(ConfigurationKey, ReplacesItsEntryAndNoOther) {
  const auto [key, tier] = GetParam();
  Tables expected;
  (tier == -1 ? expected.lapack : tier == -2 ? expected.oql : expected.kernels[tier]) = "Lib/Other.so";
  EXPECT_EQ(tables_after(std::string(key) + "=Lib/Other.so\n"), read(expected));
}

INSTANTIATE_TEST_SUITE_P(AllKeys, ConfigurationKey,
                         testing::Values(KeyCase{"nuv_x87so", 0}, KeyCase{"nuv_sse1so", 1}, KeyCase{"nuv_sse2so", 2},
                                         KeyCase{"nuv_sse3so", 3}, KeyCase{"nuv_lapackso", -1},
                                         KeyCase{"nuv_intervalso", -2}),
                         [](const auto& info) { return std::string(info.param.key); });

TEST_F(Configuration, NoKeyReachesTheHighestTier) {
  EXPECT_EQ(tables_after("nuv_sse4so=a\nnuv_ssse3so=b\nnuv_sse41so=c\nnuv_kpbso=d\nnuv_sse=e\n"), read({}));
}

TEST_F(Configuration, KeysAreCaseBlindAndMayHoldBlanks) {
  Tables expected;
  expected.kernels[2] = "  Foo.so";
  EXPECT_EQ(tables_after("  Nuv _ SSE2SO  =  Foo.so  \n"), read(expected));
  expected.kernels[2] = "\tFoo \t.so";
  EXPECT_EQ(tables_after("\tNUV_\tsse2\t so\t=\tFoo \t.so\t \n"), read(expected));
}

TEST_F(Configuration, SampleFile) {
  Tables expected;
  expected.kernels[3] = " libfast.so";
  expected.lapack = "/opt/lib/libnuv_lapack.so";
  EXPECT_EQ(tables_after("nuv_sse3so = libfast.so\nNUV_LAPACKSO=/opt/lib/libnuv_lapack.so\n"), read(expected));
}

TEST_F(Configuration, TheValueBeginsBehindTheFirstEqualsSign) {
  Tables expected;
  expected.kernels[1] = "a=B = c";
  EXPECT_EQ(tables_after("nuv_sse1so=a=B = c\n"), read(expected));
}

TEST_F(Configuration, AnEmptyValueLeavesTheEntry) {
  EXPECT_EQ(tables_after("nuv_sse2so=\nnuv_sse3so=  \t \nnuv_x87so ="), read({}));
  Tables expected;
  expected.kernels[2] = "two.so";
  EXPECT_EQ(tables_after("nuv_sse2so=two.so\nnuv_sse2so=\n"), read(expected));
}

TEST_F(Configuration, TheLastValueWins) {
  Tables expected;
  expected.kernels[2] = "b";
  expected.kernels[3] = "c";
  EXPECT_EQ(tables_after("nuv_sse2so=a-longer-one.so\nnuv_sse3so=c\nNUV_SSE2SO=b\n"), read(expected));
}

TEST_F(Configuration, OtherLinesAreIgnored) {
  EXPECT_EQ(tables_after("# nuv_sse2so=a\n\n[nuv]\nnuv_sse2so\n=\nx nuv_sse2so=b\nnuv_sse2so:c\nnuv_sse2s=o=d\n"),
            read({}));
}

TEST_F(Configuration, AnEmptyFileIsReadToItsEnd) {
  EXPECT_EQ(tables_after(""), read({}));
}

TEST_F(Configuration, ACarriageReturnBeforeTheLineFeedStaysInTheValue) {
  Tables expected;
  expected.kernels[2] = "two.so\r";
  expected.kernels[3] = "three.so \r";
  expected.lapack = "\r";
  EXPECT_EQ(tables_after("nuv_sse2so=two.so\r\nnuv_sse3so=three.so \r\nnuv_lapackso=\r\n"), read(expected));
}

TEST_F(Configuration, TheLastLineNeedsNoEnd) {
  Tables expected;
  expected.kernels[2] = "two.so";
  EXPECT_EQ(tables_after("nuv_sse2so=two.so"), read(expected));
  EXPECT_EQ(tables_after("nuv_sse2so=two.so \t\r"), read(expected)) << "the carriage return is then the line's end";
}

TEST_F(Configuration, ALongLineCountsAsSeveral) {
  // The first 1023 characters are one line, the rest another, which matches if it begins with a key.
  const std::string key = "nuv_sse1so=";
  const std::string value(1023 - key.size(), 'v');
  const std::string rest = "nuv_sse2so=" + std::string(1500 - 1023 - key.size(), 'w');
  Tables expected;
  expected.kernels[1] = value;
  expected.kernels[2] = std::string(1500 - 1023 - key.size(), 'w');
  EXPECT_EQ(tables_after(key + value + rest + "\n"), read(expected));

  expected.kernels[2] = kpa;
  EXPECT_EQ(tables_after(key + value + "x" + rest + "\n"), read(expected)) << "one further on it begins with an x";
  EXPECT_EQ(tables_after(key + value + "\n"), read(expected)) << "the line feed is then a line of its own";
}

TEST_F(Configuration, AZeroByteEndsWhatIsSeenOfALine) {
  Tables expected;
  expected.kernels[1] = "one";
  EXPECT_EQ(tables_after("nuv_sse1so=one\0.so\n\0nuv_sse2so=two\n"s), read(expected));
}

// ----------------------------------------------------------------------------------------------------------- search

TEST_F(Configuration, SearchOrderWithoutTheVariable) {
  const Environment environment = {{"PATH", "/nowhere/a:/nowhere/b"}};
  const std::string expected =
      opened({"nuv.cfg", "nuv.cfg/nuv.cfg", "/nowhere/a/nuv.cfg", "/nowhere/b/nuv.cfg", "./nuv.cfg"});
  EXPECT_EQ(run(environment, {"cfg:0", "opened"}), "cfg -111\n" + expected);
}

TEST_F(Configuration, AnEmptyVariableCountsAsUnset) {
  const Environment environment = {{"PATH", "/nowhere"}, {"NUV_CFG_FILE", ""}};
  EXPECT_EQ(run(environment, {"cfg:0", "opened"}),
            "cfg -111\n" + opened({"nuv.cfg", "nuv.cfg/nuv.cfg", "/nowhere/nuv.cfg", "./nuv.cfg"}));
}

TEST_F(Configuration, TheWorkingFolderComesFirstWithoutTheVariable) {
  folder.file("nuv.cfg", "nuv_lapackso=here\n");
  folder.file("path/nuv.cfg", "nuv_lapackso=path\n");
  Tables expected;
  expected.lapack = "here";
  EXPECT_EQ(run({{"PATH", folder.path("path")}}, {"cfg:0", "tables", "opened"}), read(expected) + opened({"nuv.cfg"}));
}

TEST_F(Configuration, TheVariableNamesAFile) {
  folder.file("nuv.cfg", "nuv_lapackso=here\n");
  const std::string named = folder.file("site/any.name", "nuv_lapackso=named\n");
  Tables expected;
  expected.lapack = "named";
  EXPECT_EQ(run({{"NUV_CFG_FILE", named}}, {"cfg:0", "tables", "opened"}), read(expected) + opened({named}));
}

TEST_F(Configuration, TheVariableNamesAFolder) {
  folder.file("nuv.cfg", "nuv_lapackso=here\n");
  folder.file("site/nuv.cfg", "nuv_lapackso=site\n");
  const std::string named = folder.path("site");
  Tables expected;
  expected.lapack = "site";
  EXPECT_EQ(run({{"NUV_CFG_FILE", named}}, {"cfg:0", "tables", "opened"}),
            read(expected) + opened({named, named + "/nuv.cfg"}));
}

TEST_F(Configuration, AFolderOfThatNameInTheNamedFolderIsPassedOver) {
  folder.folder("site/nuv.cfg");
  folder.file("path/nuv.cfg", "nuv_lapackso=path\n");
  const std::string named = folder.path("site");
  const std::string path = folder.path("path");
  Tables expected;
  expected.lapack = "path";
  EXPECT_EQ(run({{"NUV_CFG_FILE", named}, {"PATH", path}}, {"cfg:0", "tables", "opened"}),
            read(expected) + opened({named, named + "/nuv.cfg", path + "/nuv.cfg", path + "/nuv.cfg"}));
}

TEST_F(Configuration, AMissingNamedFileDoesNotStopTheSearch) {
  folder.file("nuv.cfg", "nuv_lapackso=here\n");
  Tables expected;
  expected.lapack = "here";
  EXPECT_EQ(
      run({{"NUV_CFG_FILE", "/nowhere/x"}, {"PATH", "/nowhere"}}, {"cfg:0", "tables", "opened"}),
      read(expected) + opened({"/nowhere/x", "/nowhere/x/nuv.cfg", "/nowhere/nuv.cfg", "./nuv.cfg", "./nuv.cfg"}));
}

TEST_F(Configuration, AFileThatCannotBeOpenedCountsAsMissing) {
  // A socket is there and is no folder, and fopen refuses it even to the superuser.
  sockaddr_un address = {AF_UNIX, "socket"};
  const std::string path = folder.path("socket");
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(run({{"NUV_CFG_FILE", path}}, {"cfg:0", "tables"}), "cfg -111\n" + Tables().text());
  close(descriptor);
}

TEST_F(Configuration, AFolderAsNamedByTheDefaultIsLookedInto) {
  folder.file("nuv.cfg/nuv.cfg", "nuv_lapackso=inside\n");
  Tables expected;
  expected.lapack = "inside";
  EXPECT_EQ(run({}, {"cfg:0", "tables", "opened"}), read(expected) + opened({"nuv.cfg", "nuv.cfg/nuv.cfg"}));
}

TEST_F(Configuration, TheFirstElementWithTheFileWinsAndTheFileIsOpenedAgain) {
  folder.folder("a/nuv.cfg");
  folder.file("b/nuv.cfg", "nuv_lapackso=b\n");
  folder.file("c/nuv.cfg", "nuv_lapackso=c\n");
  const std::string a = folder.path("a"), b = folder.path("b"), c = folder.path("c");
  Tables expected;
  expected.lapack = "b";
  EXPECT_EQ(run({{"PATH", a + ":" + b + ":" + c}}, {"cfg:0", "tables", "opened"}),
            read(expected) + opened({"nuv.cfg", "nuv.cfg/nuv.cfg", a + "/nuv.cfg", b + "/nuv.cfg", b + "/nuv.cfg"}));
}

TEST_F(Configuration, ElementsThatEndInADotGetNoSlash) {
  folder.file("x.nuv.cfg", "nuv_lapackso=dotted\n");
  folder.file("x./nuv.cfg", "nuv_lapackso=wrong\n");
  Tables expected;
  expected.lapack = "dotted";
  EXPECT_EQ(run({{"PATH", folder.path("x.")}}, {"cfg:0", "tables"}), read(expected));
}

TEST_F(Configuration, HowElementsBecomePaths) {
  const Environment environment = {{"PATH", "/nowhere/slash/:/nowhere/blank \t :. \t:..:\t::rel"}};
  EXPECT_EQ(run(environment, {"cfg:0", "opened"}),
            "cfg -111\n" + opened({"nuv.cfg", "nuv.cfg/nuv.cfg", "/nowhere/slash/nuv.cfg", "/nowhere/blank/nuv.cfg",
                                   ".nuv.cfg", "..nuv.cfg", "/nuv.cfg", "/nuv.cfg", "rel/nuv.cfg", "./nuv.cfg"}));
}

TEST_F(Configuration, WithoutPathOnlyTheRootAndTheWorkingFolderAreSearched) {
  const std::string expected = "cfg -111\n" + opened({"nuv.cfg", "nuv.cfg/nuv.cfg", "/nuv.cfg", "./nuv.cfg"});
  EXPECT_EQ(run({}, {"cfg:0", "opened"}), expected);
  EXPECT_EQ(run({{"PATH", ""}}, {"cfg:0", "opened"}), expected);
}

// ------------------------------------------------------------------------------------------- the room of 1024 bytes

TEST_F(Configuration, ANamedFileMayFillTheRoom) {
  const std::string file = folder.file("site.cfg", "nuv_lapackso=named\n");
  const std::string fits = stretched(file, 1023);
  Tables expected;
  expected.lapack = "named";
  EXPECT_EQ(run({{"NUV_CFG_FILE", fits}}, {"cfg:0", "tables", "opened"}), read(expected) + opened({fits}));

  for (const std::size_t length : {1024, 1025, 3000}) {
    EXPECT_EQ(run({{"NUV_CFG_FILE", stretched(file, length)}}, {"cfg:0", "tables", "opened"}),
              "cfg -111\n" + Tables().text() + opened({"/nuv.cfg", "./nuv.cfg"}))
        << length;
  }
}

TEST_F(Configuration, ANamedFolderMustLeaveRoomForTheFileName) {
  folder.file("site/nuv.cfg", "nuv_lapackso=site\n");
  const std::string fits = stretched(folder.path("site"), 1015);
  Tables expected;
  expected.lapack = "site";
  EXPECT_EQ(run({{"NUV_CFG_FILE", fits}}, {"cfg:0", "tables", "opened"}),
            read(expected) + opened({fits, fits + "/nuv.cfg"}));

  for (const std::size_t length : {1016, 1017, 1023}) {
    const std::string long_name = stretched(folder.path("site"), length);
    EXPECT_EQ(run({{"NUV_CFG_FILE", long_name}}, {"cfg:0", "opened"}),
              "cfg -111\n" + opened({long_name, "/nuv.cfg", "./nuv.cfg"}))
        << length;
  }
}

TEST_F(Configuration, ElementsThatNeedMoreRoomArePassedOver) {
  folder.file("site/nuv.cfg", "nuv_lapackso=site\n");
  const std::string site = folder.path("site");
  const std::string fits = stretched(site, 1015);
  const std::string found = fits + "/nuv.cfg";
  Tables expected;
  expected.lapack = "site";
  for (const std::size_t length : {1016, 1022, 1023, 1024, 5000}) {
    EXPECT_EQ(run({{"PATH", stretched(site, length) + ":" + fits}}, {"cfg:0", "tables", "opened"}),
              read(expected) + opened({"nuv.cfg", "nuv.cfg/nuv.cfg", found, found}))
        << length;
  }
  const std::string slash = stretched(site + "/", 1016);
  EXPECT_EQ(run({{"PATH", slash}}, {"cfg:0", "tables", "opened"}),
            read(expected) + opened({"nuv.cfg", "nuv.cfg/nuv.cfg", slash + "nuv.cfg", slash + "nuv.cfg"}));
}

TEST_F(Configuration, TheRoomIsCountedBeforeBlanksAreCut) {
  folder.file("site/nuv.cfg", "nuv_lapackso=site\n");
  const std::string site = folder.path("site");
  Tables expected;
  expected.lapack = "site";
  const std::string fits = site + std::string(1023 - site.size(), ' ');
  EXPECT_EQ(run({{"PATH", fits}}, {"cfg:0", "tables"}), read(expected));
  EXPECT_EQ(run({{"PATH", fits + " "}}, {"cfg:0"}), "cfg -111\n");
}

TEST_F(Configuration, APathVariableOfAnyLengthIsWalked) {
  folder.file("site/nuv.cfg", "nuv_lapackso=site\n");
  std::string path;
  for (int i = 0; i < 5000; ++i) path += "/nowhere/" + std::to_string(i) + ":";
  Tables expected;
  expected.lapack = "site";
  EXPECT_EQ(run({{"PATH", path + folder.path("site")}}, {"cfg:0", "tables"}), read(expected));
}

// ------------------------------------------------------------------------------------------------------- SearchPath

TEST_F(Configuration, SearchPathFindsAnyFileAlongPath) {
  folder.folder("a/some.file");
  const std::string found = folder.file("b/some.file", "");
  folder.file("some.file", "");
  const std::string a = folder.path("a"), b = folder.path("b");
  EXPECT_EQ(
      run({{"PATH", a + ":" + b}}, {"search:some.file", "opened", "held", "word"}),
      "search " + std::to_string(found.size()) + " [" + found + "]\n" + opened({a + "/some.file", found}) + "word 0\n");
}

TEST_F(Configuration, SearchPathLooksInTheWorkingFolderLast) {
  folder.file("some.file", "");
  EXPECT_EQ(run({{"PATH", "/nowhere"}}, {"search:some.file", "opened"}),
            "search 11 [./some.file]\n" + opened({"/nowhere/some.file", "./some.file"}));
}

TEST_F(Configuration, SearchPathTakesTheEmptyElementForTheRoot) {
  const std::string file = folder.file("some.file", "");
  EXPECT_EQ(run({{"PATH", ""}}, {"search:" + file.substr(1)}),
            "search " + std::to_string(file.size()) + " [" + file + "]\n");
  EXPECT_EQ(run({}, {"search:" + file.substr(1)}), "search " + std::to_string(file.size()) + " [" + file + "]\n");
}

TEST_F(Configuration, SearchPathLeavesTheResultAloneWhenNothingIsFound) {
  EXPECT_EQ(run({{"PATH", "/nowhere"}}, {"search:some.file", "search:" + std::string(1023, 'n')}),
            "search 0 [untouched]\nsearch 0 [untouched]\n");
}

TEST_F(Configuration, SearchPathHeedsTheRoom) {
  const std::string file = folder.file("some.file", "");
  const std::string fits = stretched(file, 1021);
  EXPECT_EQ(run({{"PATH", "/nowhere"}}, {"search:" + fits, "search:/" + fits}),
            "search 0 [untouched]\nsearch 0 [untouched]\n");
  EXPECT_EQ(run({{"PATH", "/"}}, {"search:/" + fits, "search://" + fits}),
            "search 1023 [//" + fits + "]\nsearch 0 [untouched]\n");
}

/// Bytes that the allocator has given and not got back.
std::size_t bytes_held() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

TEST_F(Configuration, SearchPathGivesItsMemoryBack) {
  folder.file("some.file", "");
  const std::string variable = getenv("PATH"), path(1 << 20, '/');
  for (const std::string& element : {folder.path().string(), std::string("/nowhere")}) {
    setenv("PATH", (element + ":" + path).c_str(), 1);
    char result[name_room];
    const std::size_t before = bytes_held();
    for (int i = 0; i < 4; ++i) EXPECT_EQ(SearchPath("", "some.file", "", 0, result) > 0, element != "/nowhere");
    EXPECT_LT(bytes_held(), before + path.size());
  }
  setenv("PATH", variable.c_str(), 1);
}

// --------------------------------------------------------------------------------------------------- string helpers

std::string after(void (*helper)(char*), std::string text) {
  helper(text.data());
  return text.c_str();
}

TEST(StringHelpers, RemoveCrCutsOneCharacterAndTellsTheLengthBefore) {
  struct Case {
    std::string text, left;
  };
  for (const auto& [text, left] :
       {Case{"", ""}, Case{"a", "a"}, Case{"a\n", "a"}, Case{"a\r", "a"}, Case{"a\r\n", "a\r"}, Case{"a\n\n", "a\n"},
        Case{"\n", ""}, Case{"\na", "\na"}, Case{"a ", "a "}}) {
    std::string work = text;
    EXPECT_EQ(remove_cr(work.data()), static_cast<int>(text.size())) << testing::PrintToString(text);
    EXPECT_EQ(std::string(work.c_str()), left) << testing::PrintToString(text);
  }
}

TEST(StringHelpers, RemoveSpaceTakesOutBlanksAndTabs) {
  EXPECT_EQ(after(remove_space, ""), "");
  EXPECT_EQ(after(remove_space, " \t "), "");
  EXPECT_EQ(after(remove_space, "\ta b\t\tc \n"), "abc\n");
  EXPECT_EQ(after(remove_space, "a\v\f\r\n\xa0"), "a\v\f\r\n\xa0") << "other white space stays";
  EXPECT_EQ(after(remove_space, std::string(511, ' ') + std::string(512, 'x')), std::string(512, 'x'));
}

TEST(StringHelpers, RemoveTrailingSpaceCutsBlanksAndTabs) {
  EXPECT_EQ(after(remove_trailing_space, ""), "");
  EXPECT_EQ(after(remove_trailing_space, " \t"), "");
  EXPECT_EQ(after(remove_trailing_space, " a \tb \t\t "), " a \tb");
  EXPECT_EQ(after(remove_trailing_space, "a \n"), "a \n");
}

TEST(StringHelpers, StrlwrFoldsEachCharacter) {
  EXPECT_EQ(after(strlwr_nuv, "AbC_Z[@19 \t\n"), "abc_z[@19 \t\n");
  EXPECT_EQ(after(strlwr_nuv, "\xc4\xff\x80"), "\xc4\xff\x80") << "bytes beyond ASCII are no letters here";
}

}  // namespace
}  // namespace nuv::test
