// The column file as the table script reads it: by the rules of the daemon's own parser.
#include "unit/tools/TableScript.h"

namespace datacollector {

namespace {

using Rows = std::vector<std::string>;

class ColumnFile : public TableScript {
 protected:
  Rows ColumnsOf(const std::string& configuration) const {
    const ScriptResult result = CreateFrom(configuration);
    EXPECT_EQ(result.status, 0) << result.error;
    return Columns();
  }
};

TEST_F(ColumnFile, OrderOfTheFileIsOrderOfTheTable) {
  EXPECT_EQ(ColumnsOf("Zulu = TEXT\nAlpha = TEXT\nMike = INTEGER\n"),
            (Rows{"Zulu TEXT", "Alpha TEXT", "Mike INTEGER"}));
}

TEST_F(ColumnFile, LeadingBlanksAndBlanksAroundTheEqualsSignDropOut) {
  EXPECT_EQ(ColumnsOf(" \tA=INTEGER\n\t B \t = \t INTEGER \t\nC\t=TEXT"),
            (Rows{"A INTEGER", "B INTEGER", "C TEXT"}));
}

TEST_F(ColumnFile, CommentLinesAreSkippedEvenWithAnEqualsSign) {
  EXPECT_EQ(ColumnsOf("# A = INTEGER\n  #B = INTEGER\nC = TEXT\n"), Rows{"C TEXT"});
}

TEST_F(ColumnFile, TrailingCommentIsNoPartOfTheValue) {
  EXPECT_EQ(ColumnsOf("A = INTEGER # the number = 1\nB = TEXT#x\nC = # INTEGER\n"),
            (Rows{"A INTEGER", "B TEXT", "C TEXT"}));
}

TEST_F(ColumnFile, LinesWithoutAnEqualsSignAreIgnored) {
  EXPECT_EQ(ColumnsOf("\n   \nno entry\nA = TEXT\n"), Rows{"A TEXT"});
}

TEST_F(ColumnFile, FirstEqualsSignEndsTheName) { EXPECT_EQ(ColumnsOf("A = B = INTEGER\n"), Rows{"A TEXT"}); }

TEST_F(ColumnFile, DatabaseAndTableNameAreNoColumns) {
  EXPECT_EQ(ColumnsOf("DatabaseName = /other/place.db\nTABLEname = Other\nA = TEXT\n"), Rows{"A TEXT"});
}

TEST_F(ColumnFile, DatabaseNameInAnotherCaseIsAColumn) {
  EXPECT_EQ(ColumnsOf("databasename = x\nA = TEXT\n"), (Rows{"databasename TEXT", "A TEXT"}));
}

TEST_F(ColumnFile, SettingsSpellingIsUnderstood) {
  EXPECT_EQ(ColumnsOf("DatabaseName = \"/a/b.db\";\nA = \"INTEGER\";\nB = \"TEXT\" ;\nC = INTEGER;\n"),
            (Rows{"A INTEGER", "B TEXT", "C INTEGER"}));
}

TEST_F(ColumnFile, SettingsSpellingAsksForAnIndexToo) {
  EXPECT_EQ(ColumnsOf("A = \"TEXT INDEXED\";\nB = \"TEXT\";\n"), (Rows{"A TEXT", "B TEXT"}));
  EXPECT_EQ(QueryRows(database_, "SELECT name FROM sqlite_master WHERE type = 'index'"),
            Rows{"Records_A_index"});
}

TEST_F(ColumnFile, TypesAreUnderstoodInAnyCase) {
  EXPECT_EQ(ColumnsOf("A = integer\nB = text  indexed\n"), (Rows{"A INTEGER", "B TEXT"}));
  EXPECT_EQ(QueryRows(database_, "SELECT count(*) FROM sqlite_master WHERE type = 'index'"), Rows{"2"});
}

TEST_F(ColumnFile, CarriageReturnsDoNotChangeTheTypes) {
  EXPECT_EQ(ColumnsOf("A = INTEGER\r\nB = TEXT\r\n"), (Rows{"A INTEGER", "B TEXT"}));
}

TEST_F(ColumnFile, OverlongLineIsReadInPieces) {
  // 499 characters of comment fill the line buffer; what follows is read as a line of its own.
  const std::string comment = "#" + std::string(498, '-');
  EXPECT_EQ(ColumnsOf(comment + "B = INTEGER\nA = TEXT\n"), (Rows{"B INTEGER", "A TEXT"}));
}

TEST_F(ColumnFile, LongestLineIsOnePiece) {
  const std::string line = "B = TEXT #" + std::string(488, '=');
  EXPECT_EQ(ColumnsOf(line + "\nA = TEXT\n"), (Rows{"B TEXT", "A TEXT"}));
}

TEST_F(ColumnFile, ManyColumnsAreTaken) {
  std::string configuration;
  for (int i = 0; i < 198; ++i) {
    configuration += "Column" + std::to_string(i) + " = TEXT\n";
  }
  EXPECT_EQ(ColumnsOf(configuration).size(), 198U);
}

// The shipped column file of a kind makes a table of its columns, with the record number a number and indexes
// for the two columns that the daemon searches by.
class ExampleColumnFile : public TableScript {
 protected:
  void ExpectTable(const char* kind, std::size_t columns) {
    config_ = std::string(DATACOLLECTOR_SOURCE_DIR) +
              "/gateway/Config/root/DataCollectorAppComponent/etc/Config/" + kind +
              "PerDatabaseColumnsConfig.cfg";
    const ScriptResult result = Run(Arguments());
    ASSERT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(Columns().size(), columns);
    EXPECT_EQ(QueryRows(database_, "SELECT name FROM pragma_table_info('Records') WHERE type = 'INTEGER'"),
              Rows{"RecordNumber"});
    EXPECT_EQ(QueryRows(database_, "SELECT name FROM sqlite_master WHERE type = 'index' ORDER BY name"),
              (Rows{"Records_RecordNumber_index", "Records_TxStatus_index"}));
  }
};

TEST_F(ExampleColumnFile, OfAio) { ExpectTable("AIO", 21); }

TEST_F(ExampleColumnFile, OfDio) { ExpectTable("DIO", 21); }

TEST_F(ExampleColumnFile, OfTemperature) { ExpectTable("Temperature", 21); }

TEST_F(ExampleColumnFile, OfRs485) { ExpectTable("RS485", 31); }

TEST_F(ExampleColumnFile, OfRs232) { ExpectTable("RS232", 30); }

TEST_F(ExampleColumnFile, OfSnmp) { ExpectTable("SNMP", 27); }

}  // namespace

}  // namespace datacollector
