#pragma once

// Files that no reader may accept, and the words in which each is refused.

#include <string>
#include <vector>

namespace nuv::test {

struct WrongFile {
  std::string label;  ///< letters alone: a part of the test's name
  std::string text;
  std::string message;  ///< without the name of the file: ":LINE: ..."
  char precision = 'z';
};

inline std::vector<WrongFile> wrong_files() {
  const std::string banner = "%%MatrixMarket matrix ";
  const std::string array = banner + "array real general\n";
  const std::string coordinate = banner + "coordinate real general\n";
  const std::string no_banner = ":1: not a Matrix Market file: the first line does not begin with %%MatrixMarket";
  return {
      // the banner
      {"Empty", "", ":1: the file is empty"},
      {"NoBanner", "1 1\n1\n", no_banner},
      {"BannerNotOnTheFirstLine", "\n" + array + "1 1\n1\n", no_banner},
      {"BannerCommentOnly", "%% a comment\n" + array, no_banner},
      {"BlankBeforeBanner", " " + array + "1 1\n1\n", no_banner},
      {"BannerRunsOn", "%%MatrixMarkets matrix array real general\n1 1\n1\n", no_banner},
      {"OtherObject", "%%MatrixMarket vector array real general\n1 1\n1\n",
       ":1: unknown object 'vector', only matrices can be read"},
      {"OtherLayout", banner + "dense real general\n1 1\n1\n", ":1: unknown layout 'dense'"},
      {"OtherField", banner + "array quaternion general\n1 1\n1\n", ":1: unknown field 'quaternion'"},
      {"OtherSymmetry", banner + "array real lower\n1 1\n1\n", ":1: unknown symmetry 'lower'"},
      {"NoObject", "%%MatrixMarket\n", ":1: the line ends where the word 'matrix' is expected"},
      {"NoLayout", "%%MatrixMarket matrix\n", ":1: the line ends where the layout (array or coordinate) is expected"},
      {"NoField", banner + "array\n1 1\n1\n",
       ":1: the line ends where the field (real, complex or integer) is expected"},
      {"NoSymmetry", banner + "array real\n1 1\n1\n", ":1: the line ends where the symmetry is expected"},
      {"WordAfterBanner", banner + "array real general too\n1 1\n1\n", ":1: unexpected 'too' at the end of the line"},
      {"Pattern", banner + "coordinate pattern general\n1 1 1\n1 1\n", ":1: a pattern file carries no values"},
      {"HermitianReal", banner + "array real hermitian\n1 1\n1\n", ":1: a hermitian matrix must be complex"},
      {"HermitianInteger", banner + "coordinate integer Hermitian\n1 1 1\n1 1 1\n",
       ":1: a hermitian matrix must be complex"},

      // the sizes
      {"NoSizes", array + "% nothing\n\n", ":4: the file ends before the line of the sizes"},
      {"OneSize", array + "3\n", ":2: the line ends where the number of columns is expected"},
      {"NoEntryCount", coordinate + "3 3\n", ":2: the line ends where the number of entries is expected"},
      {"ThirdSizeInArray", array + "1 1 1\n1\n", ":2: unexpected '1' at the end of the line"},
      {"SizeIsAWord", array + "three 3\n", ":2: expected the number of rows, found 'three'"},
      {"SizeIsAFraction", array + "3 3.0\n", ":2: expected the number of columns, found '3.0'"},
      {"NegativeRows", array + "-3 3\n", ":2: the number of rows is negative"},
      {"NegativeColumns", array + "3 -3\n", ":2: the number of columns is negative"},
      {"NegativeEntries", coordinate + "3 3 -1\n", ":2: the number of entries is negative"},
      {"RowsBeyondInt", array + "2147483648 1\n", ":2: the number of rows is more than 2147483647"},
      {"ColumnsBeyondInt", coordinate + "1 4294967297 0\n", ":2: the number of columns is more than 2147483647"},
      {"RowsBeyondEverything", array + "99999999999999999999999 1\n", ":2: the number of rows is more than 2147483647"},
      {"RowsBelowEverything", array + "-99999999999999999999999 1\n", ":2: the number of rows is negative"},
      {"SymmetricNotSquare", banner + "array real symmetric\n2 3\n1\n",
       ":2: 2 rows and 3 columns, but a matrix with a symmetry is square"},
      {"SkewNotSquare", banner + "coordinate real skew-symmetric\n% c\n3 2 0\n",
       ":3: 3 rows and 2 columns, but a matrix with a symmetry is square"},

      // too few and too many entries
      {"TruncatedArray", array + "2 2\n1\n2\n3\n", ":6: the file ends after 3 of 4 entries"},
      {"TruncatedArrayWithoutLineEnd", array + "2 2\n1\n2\n3", ":6: the file ends after 3 of 4 entries"},
      {"TruncatedBehindComments", array + "2 2\n1\n\n% end\n", ":6: the file ends after 1 of 4 entries"},
      {"TruncatedCoordinate", coordinate + "2 2 3\n1 1 1\n2 2 1\n", ":5: the file ends after 2 of 3 entries"},
      {"TruncatedSymmetric", banner + "array real symmetric\n2 2\n1\n2\n", ":5: the file ends after 2 of 3 entries"},
      {"TruncatedSkew", banner + "array real skew-symmetric\n3 3\n1\n2\n", ":5: the file ends after 2 of 3 entries"},
      {"TruncatedAtTheSizes", coordinate + "2000000000 2000000000 20000000\n",
       ":3: the file ends after 0 of 20000000 entries"},
      {"TruncatedLargeArray", array + "10000 2000\n1\n", ":4: the file ends after 1 of 20000000 entries"},
      {"TruncatedWithManyOnALine", array + "2 2\n1 2 3\n", ":4: the file ends after 3 of 4 entries"},
      {"TruncatedInALine", coordinate + "2 2 2\n1 1 1\n2 2", ":4: the line ends where a number is expected"},
      {"TruncatedBehindTheRow", coordinate + "2 2 1\n2\n", ":3: the line ends where the column index is expected"},
      {"NoImaginaryPart", banner + "array complex general\n1 1\n1\n",
       ":3: the line ends where the imaginary part is expected"},
      {"OneEntryTooMany", array + "1 1\n1\n2\n", ":4: unexpected data after the last of 1 entries"},
      {"TrailingWord", coordinate + "1 1 1\n1 1 1\n\n% c\nend\n", ":6: unexpected data after the last of 1 entries"},
      {"DataInAnEmptyMatrix", array + "0 0\n1\n", ":3: unexpected data after the last of 0 entries"},
      {"OneTooManyOnALine", array + "2 1\n1 2 3\n", ":3: unexpected data after the last of 2 entries"},
      {"SecondEntryOnALine", coordinate + "2 2 2\n1 1 1 2 2 1\n", ":3: unexpected '2' at the end of the line"},
      {"PartsOnTwoLines", banner + "array complex general\n2 1\n1 2 3\n4\n",
       ":3: the line ends where the imaginary part is expected"},
      {"ImaginaryPartInARealFile", coordinate + "1 1 1\n1 1 1 0\n", ":3: unexpected '0' at the end of the line"},
      {"CommentBehindData", array + "2 1\n1 % one\n2\n", ":3: expected a number, found '%'"},

      // numbers
      {"Word", array + "1 1\nabc\n", ":3: expected a number, found 'abc'"},
      {"WordInTheImaginaryPart", banner + "array complex general\n1 1\n1 i\n", ":3: expected a number, found 'i'"},
      {"NumberWithATail", array + "1 1\n1.5x\n", ":3: expected a number, found '1.5x'"},
      {"EmptyFortranExponent", array + "1 1\n1.5D\n", ":3: expected a number, found '1.5D'"},
      {"FortranExponentOfNothing", array + "1 1\nd0\n", ":3: expected a number, found 'd0'"},
      {"FortranExponentInAnIntegerFile", banner + "array integer general\n1 1\n1d0\n",
       ":3: expected an integer, found '1d0'"},
      {"DecimalComma", array + "1 1\n1,5\n", ":3: expected a number, found '1,5'"},
      {"Hexadecimal", array + "1 1\n0x10\n", ":3: expected a number, found '0x10'"},
      {"TwoSigns", array + "1 1\n+-1\n", ":3: expected a number, found '+-1'"},
      {"SignAlone", array + "1 1\n-\n", ":3: expected a number, found '-'"},
      {"PointAlone", array + "1 1\n.\n", ":3: expected a number, found '.'"},
      {"EmptyExponent", array + "1 1\n1e\n", ":3: expected a number, found '1e'"},
      {"EmptySignedExponent", array + "1 1\n1e+\n", ":3: expected a number, found '1e+'"},
      {"FractionalExponent", array + "1 1\n1e1.5\n", ":3: expected a number, found '1e1.5'"},
      {"ExponentAlone", array + "1 1\ne5\n", ":3: expected a number, found 'e5'"},
      {"ControlCharacters", array + "1 1\n1\r\x1b[2J\n", ":3: expected a number, found '1\\x0d\\x1b[2J'"},
      {"ZeroByte", array + "1 1\n1" + std::string(1, '\0') + "\n", ":3: expected a number, found '1\\x00'"},
      {"LongWord", array + "1 1\n" + std::string(60, 'a') + "\n",
       ":3: expected a number, found '" + std::string(40, 'a') + "...'"},
      {"FractionInAnIntegerFile", banner + "array integer general\n1 1\n1.5\n", ":3: expected an integer, found '1.5'"},
      {"ExponentInAnIntegerFile", banner + "coordinate integer general\n1 1 1\n1 1 1e3\n",
       ":3: expected an integer, found '1e3'"},
      {"Nan", array + "1 1\nNaN\n", ":3: 'NaN' is not a finite number"},
      {"NanWithPayload", array + "1 1\nnan(0x1)\n", ":3: 'nan(0x1)' is not a finite number"},
      {"Inf", coordinate + "2 2 2\n1 1 1\n2 2 inf\n", ":4: 'inf' is not a finite number"},
      {"NegativeInfinity", array + "1 1\n-Infinity\n", ":3: '-Infinity' is not a finite number"},
      {"InfInAnIntegerFile", banner + "array integer general\n1 1\nInf\n", ":3: 'Inf' is not a finite number"},
      {"InfInTheImaginaryPart", banner + "array complex general\n1 1\n0 +inf\n", ":3: '+inf' is not a finite number"},
      {"OverflowsDouble", array + "1 1\n1e309\n", ":3: '1e309' overflows double precision"},
      {"OverflowsExponent", array + "1 1\n-1e99999999999999999999\n",
       ":3: '-1e99999999999999999999' overflows double precision"},
      {"OverflowsSingle", array + "2 1\n3.4028234e38\n3.4028236e38\n", ":4: '3.4028236e38' overflows single precision",
       'c'},
      {"IntegerOverflowsSingle", banner + "array integer general\n1 1\n1" + std::string(39, '0') + "\n",
       ":3: '1" + std::string(39, '0') + "' overflows single precision", 'c'},
      {"EndlessNumber", array + "1 1\n" + std::string(5000, '1') + "\n",
       ":3: '" + std::string(40, '1') + "...' overflows double precision"},
      {"UnderflowsDouble", array + "1 1\n1e-400\n", ":3: '1e-400' underflows double precision"},
      {"UnderflowsExponent", array + "1 1\n-1d-99999999999999999999\n",
       ":3: '-1d-99999999999999999999' underflows double precision"},
      {"UnderflowsSingle", coordinate + "2 2 2\n1 1 1\n2 2 1e-60\n", ":4: '1e-60' underflows single precision", 'c'},

      // indices and symmetry
      {"RowZero", coordinate + "2 2 1\n0 1 1\n", ":3: the row index is out of range 1 to 2"},
      {"RowTooLarge", coordinate + "2 3 1\n3 1 1\n", ":3: the row index is out of range 1 to 2"},
      {"ColumnTooLarge", coordinate + "3 2 2\n1 1 1\n1 3 1\n", ":4: the column index is out of range 1 to 2"},
      {"ColumnNegative", coordinate + "2 2 1\n1 -1 1\n", ":3: the column index is out of range 1 to 2"},
      {"RowBeyondEverything", coordinate + "2 2 1\n18446744073709551617 1 1\n",
       ":3: the row index is out of range 1 to 2"},
      {"RowIsAFraction", coordinate + "2 2 1\n1.0 1 1\n", ":3: expected the row index, found '1.0'"},
      {"ColumnIsAWord", coordinate + "2 2 1\n1 x 1\n", ":3: expected the column index, found 'x'"},
      {"AboveTheDiagonalOfASymmetric", banner + "coordinate real symmetric\n2 2 1\n1 2 1\n",
       ":3: entry (1, 2) lies above the diagonal, which the symmetry already gives"},
      {"AboveTheDiagonalOfASkew", banner + "coordinate integer skew-symmetric\n3 3 2\n2 1 1\n1 3 1\n",
       ":4: entry (1, 3) lies above the diagonal, which the symmetry already gives"},
      {"AboveTheDiagonalOfAHermitian", banner + "coordinate complex hermitian\n2 2 1\n1 2 1 1\n",
       ":3: entry (1, 2) lies above the diagonal, which the symmetry already gives"},
      {"DiagonalOfASkew", banner + "coordinate real skew-symmetric\n2 2 2\n1 1 0\n2 2 0.5\n",
       ":4: the diagonal of a skew-symmetric matrix must be zero"},
      {"DiagonalOfAComplexSkew", banner + "coordinate complex skew-symmetric\n2 2 1\n2 2 0 1\n",
       ":3: the diagonal of a skew-symmetric matrix must be zero"},
      {"DiagonalOfAHermitian", banner + "coordinate complex hermitian\n2 2 2\n1 1 1 0\n2 2 1 1e-9\n",
       ":4: the diagonal of a hermitian matrix must be real"},
      {"DiagonalOfAHermitianArray", banner + "array complex hermitian\n2 2\n1 0\n1 1\n1 1\n",
       ":5: the diagonal of a hermitian matrix must be real"},
  };
}

}  // namespace nuv::test
