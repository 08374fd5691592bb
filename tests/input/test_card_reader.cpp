// The card discipline: headers and echoes in check, comments, empty and long cards, lists
// spread over cards, tokens, word comparisons, tables and the release card.
#include "input/card_reader.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

using namespace tesmora;
using namespace tesmora::testing;

TEST(CardReader, HeaderEchoCountAndCommentsInCheck) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("deck", "* a comment\n3 4.5\n*another\n\n7\n");
  open_card_file(file);
  int a = -1;
  double b = -1.0;
  EXPECT_EQ(read_card(file, "%d %lf", "* A * B *\n", &a, &b), 2);
  EXPECT_EQ(a, 3);
  EXPECT_EQ(b, 4.5);
  // An empty line is a card: nothing converts, so the fields keep the values they are given.
  int *v = card_scratch().card_ints;
  v[0] = 99;
  read_card(file, "%d", "* EMPTY *\n", &v[0]);
  EXPECT_EQ(v[0], 0); // cleared before the card, left at 0 by the empty line
  read_card(file, "%d", nullptr, &a);
  EXPECT_EQ(a, 7);
  EXPECT_EQ(file->record_count, 3);
  close_card_file(file);
  EXPECT_EQ(files.check_text(), "* File deck start. *\n"
                                "* A * B *\n3 4.5\n"
                                "* EMPTY *\n\n"
                                "7\n"
                                "\n* File deck end *  3 cards are read.\n\n\n");
}

TEST(CardReader, EndOfInputIsInsufficient) {
  const CHILD_JOB job = run_job_in_child([] {
    FFILE *file = open_job_card_file("short", "1\n* only a comment after it\n");
    int a = 0;
    read_card(file, "%d", "* FIRST *\n", &a);
    read_card(file, "%d", "* SECOND *\n", &a);
  });
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_EQ(job.check,
            "* FIRST *\n1\n* SECOND *\ninput is insufficient.\nexception error occured!! no.= 1\n");
}

TEST(CardReader, CardErrorNamesTheCardAndTheFile) {
  const CHILD_JOB job = run_job_in_child([] {
    FFILE *file = open_job_card_file("deck", "1\n*\n2\n");
    int a = 0;
    read_card(file, "%d", nullptr, &a);
    read_card(file, "%d", nullptr, &a);
    card_error(file);
  });
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_EQ(job.check,
            "1\n2\nError in card No.2 in file deck\n Job stops.\nexception error occured!! no.= 1\n");
}

TEST(CardReader, LongLineIsSplitIntoTwoCards) {
  ScopedJobFiles files;
  std::string line(2000, '1');
  line += "23 45\n";
  FFILE *file = files.open_card_text("long", line);
  read_card(file, nullptr, nullptr);
  EXPECT_EQ(std::string(card_scratch().card_image), std::string(2000, '1'));
  int a = 0;
  int b = 0;
  EXPECT_EQ(read_card(file, "%d %d", nullptr, &a, &b), 2);
  EXPECT_EQ(a, 23);
  EXPECT_EQ(b, 45);
  EXPECT_EQ(file->record_count, 2);
}

TEST(CardReader, ListsRunOverCardsAndSkipComments) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("list", "1 2 3\n* a comment inside the list\n4\n\n5 6 7 ignored\n8\n");
  int values[6] = {};
  read_int_list(file, "* ORDERS *\n", 6, values);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(values[i], i + 1);
  // The empty card gives no value; the rest of the last card is dropped.
  int next = 0;
  read_card(file, "%d", nullptr, &next);
  EXPECT_EQ(next, 8);
  EXPECT_EQ(file->record_count, 5);
  EXPECT_EQ(files.check_text(), "* ORDERS *\n1 2 3\n4\n\n5 6 7 ignored\n8\n");

  FFILE *reals = files.open_card_text("reals", "1.5 -2e3\n0.25\n");
  double r[3] = {};
  read_real_list(reals, "* VALUES *\n", 3, r);
  EXPECT_EQ(r[0], 1.5);
  EXPECT_EQ(r[1], -2000.0);
  EXPECT_EQ(r[2], 0.25);
}

TEST(CardReader, XyTableReadsRowsAsAList) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("table", "0 0 10\n1 5\n20 2 7 30\n");
  XY_TABLE *table = read_xy_table(file, 4, 3, "* X * Y * Z *\n", 3);
  EXPECT_EQ(table->id, 4);
  EXPECT_EQ(table->no_points, 3);
  const double x[3] = {0, 1, 2};
  const double y[3] = {0, 5, 7};
  const double z[3] = {10, 20, 30};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(table->x[i], x[i]);
    EXPECT_EQ(table->y[0][i], y[i]);
    EXPECT_EQ(table->y[1][i], z[i]);
  }
  EXPECT_EQ(table->y[2], nullptr);
  delete_xy_table(table);
}

TEST(CardReader, TokensAndWordComparisons) {
  char out[64] = "unchanged";
  EXPECT_EQ(next_token(1, "  alpha\tbeta  \n", out), 1);
  EXPECT_STREQ(out, "alpha");
  EXPECT_EQ(next_token(0, nullptr, out), 1);
  EXPECT_STREQ(out, "beta");
  EXPECT_EQ(next_token(0, nullptr, out), 0);
  EXPECT_STREQ(out, "beta");
  EXPECT_EQ(next_token(1, "\r\n", out), 0);

  EXPECT_TRUE(same_prefix("coord", "COORDINATE", 5));
  EXPECT_FALSE(same_prefix("COOR", "COORDINATE", 5));
  EXPECT_TRUE(same_prefix("anything", "else", 0));
  EXPECT_TRUE(same_prefix("r12.0", "R", 1));
  EXPECT_TRUE(same_word("Coil", "COIL"));
  EXPECT_FALSE(same_word("COILS", "COIL"));
  EXPECT_TRUE(same_word("", ""));
  EXPECT_TRUE(is_flag(0) && is_flag(1) && !is_flag(2) && !is_flag(-1));
  EXPECT_EQ(number_text(-42), "-42");
}

TEST(CardReader, ReleaseNumberFromEitherCase) {
  ScopedJobFiles files;
  EXPECT_DOUBLE_EQ(release_of_input("r12.0"), 12.0);
  EXPECT_DOUBLE_EQ(release_of_input("R7.9"), 7.9);
  EXPECT_DOUBLE_EQ(release_of_input(nullptr), 7.9);
  const CHILD_JOB job = run_job_in_child([] { release_of_input("12.0"); });
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_EQ(
      job.check,
      "**** Please add release Number r?.? at initial of input file\nexception error occured!! no.= 1\n");
}
