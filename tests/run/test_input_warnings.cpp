// What a whole run says on its terminal about input that is legal but probably not what was meant
// ("warning: " lines, none for the example decks), and the input it refuses.
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace tesmora::testing;

namespace {

// `deck` with its first `from` replaced by `to`; the test fails when `from` isn't there.
std::string replaced(std::string deck, const std::string &from, const std::string &to) {
  const std::size_t at = deck.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) deck.replace(at, from.size(), to);
  return deck;
}

// The terminal lines that start with "warning: ".
std::vector<std::string> warnings_of(const std::string &terminal) {
  std::vector<std::string> found;
  for (const std::string &line : split_lines(terminal))
    if (line.rfind("warning: ", 0) == 0) found.push_back(line);
  return found;
}

// The warnings go to the terminal only: none of the job's text files holds one.
void expect_no_warning_in_files(const TempDir &folder) {
  for (const char *name : {"output", "check", "stderr", "output.json"})
    EXPECT_EQ(read_file(folder.file(name)).find("warning: "), std::string::npos) << name;
}

// The static example's material card of region 10 (the iron) and its coil card.
constexpr const char *iron_row = "\n10 1 0 0.0 1000.0 0 0 0 0\n";
constexpr const char *coil_card = "\nCOIL 1 1 1 0 0 0\n";

} // namespace

TEST(InputWarnings, AMaterialNoElementHasIsNamed) {
  // The static mesh has regions 1 to 20; a 21st row and a 22nd row are given for nothing.
  std::string deck = replaced(example_deck("static"), "\n20 0 0\n", "\n22 0 0\n");
  deck = replaced(deck, "\n20 1 0 0.0 1.0 0 0 0 0\n",
                  "\n20 1 0 0.0 1.0 0 0 0 0\n22 1 0 0.0 1.0 0 0 0 0\n21 1 0 0.0 1.0 0 0 0 0\n");
  TempDir folder;
  set_up_example(folder, "static", deck);
  const BATCH_RUN run = run_batch(folder.path(), {});
  EXPECT_EQ(run.exit_status, 0) << run.stdout_text;
  // One line each, in the order of the material table.
  EXPECT_EQ(warnings_of(run.stdout_text),
            (std::vector<std::string>{
                "warning: material 22 is given in the input but no element of the mesh has it",
                "warning: material 21 is given in the input but no element of the mesh has it"}));
  expect_no_warning_in_files(folder);
  // "-q" silences the warnings with the rest of the terminal.
  TempDir quiet;
  set_up_example(quiet, "static", deck);
  EXPECT_EQ(run_batch(quiet.path(), {"-q"}).stdout_text, "");
}

// A region without the coil's POTENTIAL next to regions that carry it would lose the coil's field
// (in iron, all of its magnetisation) without a word: the job is refused with the regions named.
TEST(InputWarnings, ARegionWithoutTheCoilsPotentialAmongRegionsThatCarryItIsRefused) {
  // The coil's POTENTIAL 0 stands for 1, the POTENTIAL of every region; the iron (10), which
  // sits inside the air regions, is given POTENTIAL 0 and so lacks the coil's field.
  const std::string deck = replaced(example_deck("static"), iron_row, "\n10 0 0 0.0 1000.0 0 0 0 0\n");
  TempDir folder;
  set_up_example(folder, "static", deck);
  const BATCH_RUN run = run_batch(folder.path(), {});
  EXPECT_EQ(run.exit_status, 1) << run.stdout_text;
  const std::string message =
      "**** The coupling of the field of COIL source 1 across the faces of region 10, which lacks its "
      "POTENTIAL 1 while a neighbour has it (the coil's field would be missing there; give such regions the "
      "coil's POTENTIAL, which is exact in iron too) is not part of this build of the program. Job is "
      "stopped. ****\n";
  EXPECT_NE(read_file(folder.file("stderr")).find(message), std::string::npos);
  EXPECT_NE(read_file(folder.file("check")).find(message), std::string::npos);
  EXPECT_NE(run.stdout_text.find(message), std::string::npos) << run.stdout_text;
  EXPECT_TRUE(warnings_of(run.stdout_text).empty());
}

TEST(InputWarnings, ACoilWhosePotentialNoRegionHasIsToldOnTheTerminalToo) {
  // Coil POTENTIAL 2 while every region has 1: no region carries the coil, so no region is
  // singled out, and the report note stands as before.
  const std::string deck = replaced(example_deck("static"), coil_card, "\nCOIL 1 1 1 0 0 2\n");
  TempDir folder;
  set_up_example(folder, "static", deck);
  const BATCH_RUN run = run_batch(folder.path(), {});
  EXPECT_EQ(run.exit_status, 0) << run.stdout_text;
  EXPECT_EQ(warnings_of(run.stdout_text),
            std::vector<std::string>{
                "warning: COIL source series 1: no region has its POTENTIAL 2, so its field enters nowhere"});
  const std::string note =
      "**** COIL source series 1: no region has its POTENTIAL 2, so its field enters nowhere. ****\n";
  EXPECT_NE(read_file(folder.file("output")).find(note), std::string::npos);
  EXPECT_NE(read_file(folder.file("check")).find(note), std::string::npos);
  expect_no_warning_in_files(folder);
}

TEST(InputWarnings, TheExampleDecksPrintNone) {
  for (const char *name : {"sphere", "shell", "coil_plate", "static"}) {
    SCOPED_TRACE(name);
    TempDir folder;
    set_up_example(folder, name, example_deck(name));
    const BATCH_RUN run = run_batch(folder.path(), {});
    EXPECT_EQ(run.exit_status, 0) << run.stdout_text;
    EXPECT_EQ(warnings_of(run.stdout_text), std::vector<std::string>{}) << run.stdout_text;
  }
}

TEST(InputWarnings, AFrequencyTheInputReleaseIgnoresIsNamed) {
  // Before release 7.9 the frequency card is one integer that is read and dropped (the job's
  // frequency comes from the first sine); the AC example's card read so gives 50. The job runs
  // to its end either way.
  struct CASE {
    const char *release;
    const char *frequency_card;
    std::vector<std::string> expected;
  };
  const CASE cases[] = {
      {"r7.0", "50.0 0.0 0.0 0", {"warning: FREQUENCY = 50 is ignored by input release r7.0"}},
      {"R7.85", "50", {"warning: FREQUENCY = 50 is ignored by input release R7.85"}},
      {"r7.0", "0", {}},               // nothing given, nothing lost
      {"r12.0", "50.0 0.0 0.0 0", {}}, // the card of a current release is read whole
  };
  for (const CASE &c : cases) {
    SCOPED_TRACE(std::string(c.release) + " " + c.frequency_card);
    std::string deck = replaced(example_deck("ac"), "\nr12.0\n", std::string("\n") + c.release + "\n");
    deck = replaced(deck, "\n50.0 0.0 0.0 0\n", std::string("\n") + c.frequency_card + "\n");
    TempDir folder;
    set_up_example(folder, "ac", deck);
    const BATCH_RUN run = run_batch(folder.path(), {});
    EXPECT_EQ(run.exit_status, 0) << read_file(folder.file("check"));
    EXPECT_EQ(warnings_of(run.stdout_text), c.expected) << run.stdout_text;
    expect_no_warning_in_files(folder);
  }
}

// A source current that isn't a number makes the whole system NaN: the job stops after the solve
// instead of ending with status 0 and a solution of NaNs.
TEST(InputWarnings, ASolveWithANaNResidualStopsTheJob) {
  const std::string deck = replaced(example_deck("static"), "\nLOOP 1000.0 0.05 0.02 0.01 0.02\n",
                                    "\nLOOP nan 0.05 0.02 0.01 0.02\n");
  TempDir folder;
  set_up_example(folder, "static", deck);
  const BATCH_RUN run = run_batch(folder.path(), {});
  EXPECT_EQ(run.exit_status, 1) << run.stdout_text;
  EXPECT_NE(read_file(folder.file("stderr")).find("Residual have NaN\n"), std::string::npos);
  EXPECT_NE(read_file(folder.file("check")).find("Residual have NaN\n"), std::string::npos);
  EXPECT_NE(run.stdout_text.find("Residual have NaN\n"), std::string::npos);
}

namespace {

// A regularization potential whose solve stops short leaves part of the gradient in the column:
// the terminal says so (the solve itself is told too, as it does not converge either).
TEST(InputWarnings, AnUnconvergedRegularizationIsTold) {
  const std::string deck = replaced(example_deck("coil_plate"), "\n1.0e-8 -1.2 1.0e3 100 0 0 0 0 20000\n",
                                    "\n1.0e-8 -1.2 1.0e3 100 0 0 0 0 2\n");
  TempDir folder;
  set_up_example(folder, "coil_plate", deck);
  const BATCH_RUN run = run_batch(folder.path(), {});
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_NE(run.stdout_text.find("warning: the regularization potential of source column 1 did not converge"),
            std::string::npos)
      << run.stdout_text;
  EXPECT_NE(run.stdout_text.find("did not converge at step 1"), std::string::npos);
}

} // namespace
