// Whole runs of TesmoraBatch on input decks: card errors name their card, and the example decks
// stop at the first section whose reader isn't part of this build.
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <omp.h>

using namespace tesmora::testing;

class DeckRuns : public ::testing::Test {
protected:
  BATCH_RUN run_deck(const std::string &deck) {
    write_file(folder.file("input"), deck);
    return run_batch(folder.path(), {});
  }
  std::string check() const { return read_file(folder.file("check")); }
  TempDir folder;
};

// The static, AC and transient examples, the nonlinear TEAM 13 deck among them, run to their end;
// the nonlinear transient one, which asks for Fourier output, stops after its solve, where this
// build's outputs end.
TEST_F(DeckRuns, ExampleJobsMakeTheirMatricesAndRunAsFarAsTheBuildGoes) {
  const std::map<std::string, std::string> stops = {
      {"static", ""},
      {"sphere", ""},
      {"shell", ""},
      {"coil_plate", ""},
      {"ac", ""},
      {"transient", ""},
      {"transient_nonlinear",
       "**** The Fourier output of the time series is not part of this build of the program. Job is "
       "stopped. ****\n"},
      {"team13", ""}};
  for (const auto &[name, message] : stops) {
    SCOPED_TRACE(name);
    const std::string deck = example_deck(name);
    std::filesystem::copy_file(std::string(TESMORA_SOURCE_DIR) + "/examples/" + name + "/pre_geom.nas",
                               folder.file("pre_geom.nas"),
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(run_deck(deck).exit_status, message.empty() ? 0 : 1);
    const std::string text = check();
    EXPECT_EQ(text.rfind("* File input start. *\n", 0), 0u);
    const std::string report = read_file(folder.file("output"));
    EXPECT_NE(report.find("*** pre_geom file has been read ****"), std::string::npos);
    EXPECT_NE(report.find("*******  Make_system_matrices is completed ********"), std::string::npos);
    EXPECT_NE(report.find("                         Number of unknowns                      = "),
              std::string::npos);
    // Every card is echoed in order (the lines of a formula block are counted, not echoed), and
    // the file is read to its end.
    const std::vector<std::string> cards = cards_of(deck);
    std::size_t at = 0;
    for (const std::string &card : cards) {
      if (card.find('=') != std::string::npos) continue;
      at = text.find("\n" + card + "\n", at);
      ASSERT_NE(at, std::string::npos) << card;
      ++at;
    }
    EXPECT_NE(text.find("\n* File input end *  " + std::to_string(cards.size()) + " cards are read.\n"),
              std::string::npos);
    if (message.empty()) {
      EXPECT_NE(report.find("*******  Post_processing is completed ********"), std::string::npos);
      continue;
    }
    const std::string stop = message + "exception error occured!! no.= 1\n";
    ASSERT_GE(text.size(), stop.size());
    EXPECT_EQ(text.substr(text.size() - stop.size()), stop);
  }
}

// The sphere's second deck is the same job with the iron's permeability 1, and must stay so.
TEST(ExampleDecks, SphereWithPermeabilityOneDiffersOnlyInTheIronCard) {
  const std::vector<std::string> iron = cards_of(example_deck("sphere"));
  const std::vector<std::string> air =
      cards_of(read_file(std::string(TESMORA_SOURCE_DIR) + "/examples/sphere/input_mu1"));
  ASSERT_EQ(iron.size(), air.size());
  for (std::size_t i = 0; i < iron.size(); ++i) {
    SCOPED_TRACE(iron[i]);
    if (iron[i] == "1 1 0 0.0 1000.0 0 0 0 0")
      EXPECT_EQ(air[i], "1 1 0 0.0 1.0 0 0 0 0");
    else
      EXPECT_EQ(air[i], iron[i]);
  }
  EXPECT_NE(std::find(iron.begin(), iron.end(), "1 1 0 0.0 1000.0 0 0 0 0"), iron.end());
}

// TEAM 13's linear stand-in is the nonlinear deck with NON_LINEAR 0 and the steel linear (mu_r 1000
// instead of B-H curve 1), and must stay so: nothing else may drift between the two decks.
TEST(ExampleDecks, Team13LinearStandInDiffersOnlyInTheNonlinearFlagAndTheSteelCard) {
  const std::string folder = std::string(TESMORA_SOURCE_DIR) + "/examples/team13/";
  const std::vector<std::string> nonlinear = cards_of(read_file(folder + "input"));
  const std::vector<std::string> linear = cards_of(read_file(folder + "input_linear"));
  const std::map<std::string, std::string> changed = {{"1 0 0 0 0 1 0 0", "1 0 0 0 0 0 0 0"},
                                                      {"1 1 1 0.0 0.0 0 0 0 0", "1 1 0 0.0 1000.0 0 0 0 0"}};
  ASSERT_EQ(nonlinear.size(), linear.size());
  int no_changed = 0;
  for (std::size_t i = 0; i < nonlinear.size(); ++i) {
    SCOPED_TRACE(nonlinear[i]);
    const auto it = changed.find(nonlinear[i]);
    EXPECT_EQ(linear[i], it == changed.end() ? nonlinear[i] : it->second);
    no_changed += it != changed.end();
  }
  EXPECT_EQ(no_changed, 2);
}

TEST_F(DeckRuns, OnlyTheReleaseCardIsInsufficient) {
  EXPECT_EQ(run_deck("r12.0\n").exit_status, 1);
  EXPECT_EQ(check(), "* File input start. *\n* RLS_NO *\nr12.0\n"
                     "**** Execution module: TESMORA  r12.0.17  April 13, 2020 ****\n"
                     "* PRE_PROCESSING * MAKE_SYSTEM_MATRICES *\ninput is insufficient.\n"
                     "exception error occured!! no.= 1\n");
}

TEST_F(DeckRuns, OutOfRangeFieldsStopAtTheirCard) {
  const std::vector<std::string> base = cards_of(example_deck("static"));
  // Card number (1-based, comments not counted) and the card put in its place.
  const std::vector<std::pair<int, std::string>> faults = {
      {1, "12.0"},                                  // release without its letter
      {2, "2 1"},                                   // PRE_PROCESSING
      {2, "-1 2"},                                  // MAKE_SYSTEM_MATRICES with -1 still tested
      {3, "1 5"},                                   // POST_PROCESSING
      {4, "5 0 0 0 0 0 0 0"},                       // STATIC
      {4, "1 0 4 0 0 0 0 0"},                       // AC
      {4, "1 0 0 0 0 0 0 0 1"},                     // a ninth field
      {5, "5 0 0 0"},                               // POTENTIAL above 4
      {6, "5 0 1 0 0 0"},                           // TREE_GAUGE
      {6, "1 0 1 1 0 0"},                           // SCALING
      {7, "3 1 0 0 0 0 0 0"},                       // NODE_ORDER
      {7, "1 1 0 0 0 0 -2 0"},                      // PARALLEL_NO
      {8, "1.0 -1.2 1.0e3 100 0 0.8 0 0 20000"},    // ICCG_CONV not below 1
      {8, "1.0e-8 -1.2 1.0e3 2 0 0.8 0 0 20000"},   // DIV_ITERATIONS below 3
      {8, "1.0e-8 -1.2 1.0e3 100 4 0.8 0 0 20000"}, // SOLVER 4
      {8, "1.0e-8 -1.2 1.0e3 100 0 1.5 0 0 20000"}, // THETA above 1
      {9, "1.0e-4 2.5 50 0 0 -0.01 0 0"},           // RELAXATION above 2
      {9, "1.0e-4 1.0 50 0 0 -0.01 0 3"},           // NON_LINEAR_METHOD above 2
      {10, "11 7 0"},                               // POINTS_IN_1D 11
      {10, "3 5 0"},                                // no triangle rule of 5 points
      {11, "-2 0 0.0 0"},                           // INITIAL_STEP
      {12, "0 0.0 1.0 0 0 0 0 0 0 0"},              // NO_STEPS
      {12, "1 0.0 0.0 0 0 0 0 0 0 0"},              // DELTA_TIME
      {12, "1 0.0 1.0 0 0 0 0 2 0 0"},              // TP_EEC_OPTION 2
      {13, "2 1 1 3 0 0 0"},                        // INITIAL_STEP beyond the steps
      {14, "8 1 0 0"},                              // INPUT_MESH_FILE 8
      {15, "7 1 1 0 0 0 0 0 0 0"},                  // POST_DATA_FILE 7
      {16, "1 1 1 -3 0 0 1 0 0 0 0 0"},             // FORCE_J_B -3
      {17, "0 0 1 2 0 0"},                          // B 2 on the print card
      {18, "2 0 0 0"},                              // Q_AVERAGE
      {19, "1 1 1 -1"},                             // IRON_LOSS -1
      {20, "1 0.0 0 0 0.0"},                        // geometry 1 without a delta
      {21, "COOR 1"},                               // keyword of four letters
      {22, "1 3 0.0 0.0 0.0"},                      // coordinate TYPE 3
  };
  for (const auto &[card, text] : faults) {
    SCOPED_TRACE(text);
    std::vector<std::string> cards = base;
    cards[static_cast<std::size_t>(card - 1)] = text;
    EXPECT_EQ(run_deck(join_cards(cards)).exit_status, 1);
    const std::string expected = "Error in card No." + std::to_string(card) +
                                 " in file input\n Job stops.\nexception error occured!! no.= 1\n";
    const std::string text_of_check = check();
    ASSERT_GE(text_of_check.size(), expected.size());
    EXPECT_EQ(text_of_check.substr(text_of_check.size() - expected.size()), expected);
  }
}

TEST_F(DeckRuns, KeywordOfFiveLettersAndUnknownPostCoordinate) {
  std::vector<std::string> cards = cards_of(example_deck("static"));
  cards[20] = "coord 1";
  EXPECT_EQ(run_deck(join_cards(cards)).exit_status, 1);
  EXPECT_NE(check().find("* File input end *"), std::string::npos); // the section was read
  // A POST_COORDINATE that no frame has.
  cards = cards_of(example_deck("static"));
  cards[14] = "1 1 1 0 0 0 0 9 0 0";
  EXPECT_EQ(run_deck(join_cards(cards)).exit_status, 1);
  EXPECT_NE(check().find("**** Coordinate ID 9 is not found. *******\nexception error occured!! no.= 1\n"),
            std::string::npos);
  EXPECT_EQ(read_file(folder.file("stderr")),
            "**** Coordinate ID 9 is not found. *******\nexception error occured!! no.= 1\n");
}

TEST_F(DeckRuns, FourierOutputNeedsThreeOutputSteps) {
  std::vector<std::string> cards = cards_of(example_deck("static"));
  cards[14] = "1 1 1 0 0 0 0 0 0 1"; // POST_FFT with one output step
  EXPECT_EQ(run_deck(join_cards(cards)).exit_status, 1);
  const std::string text = check();
  EXPECT_NE(text.find(" Too few STEP_INTERVAL to convert FFT!\nexception error occured!! no.= 1\n"),
            std::string::npos);
}

TEST_F(DeckRuns, ParallelJobWithOneThreadIsRefused) {
  if (omp_get_num_procs() != 1) GTEST_SKIP() << "the refusal needs a machine of one processor";
  std::vector<std::string> cards = cards_of(example_deck("static"));
  cards[6] = "1 1 0 0 0 0 -1 0";
  EXPECT_EQ(run_deck(join_cards(cards)).exit_status, 1);
  EXPECT_NE(check().find("wrong input - parallel_type\n"), std::string::npos);
}

TEST_F(DeckRuns, SplitJobLeavesTheFilesOfItsLaterRuns) {
  std::filesystem::copy_file(std::string(TESMORA_SOURCE_DIR) + "/examples/transient_nonlinear/pre_geom.nas",
                             folder.file("pre_geom.nas"));
  std::vector<std::string> cards = cards_of(example_deck("transient_nonlinear"));
  // First run: pre-processing and the matrix stage only.
  cards[1] = "1 1";
  cards[2] = "0 0";
  ASSERT_EQ(run_deck(join_cards(cards)).exit_status, 0) << check();
  for (const char *name : {"mesh_data", "element_h_matrices", "element_c_matrices", "system_matrices"})
    EXPECT_TRUE(file_exists(folder.file(name))) << name;
  const std::string first_report = read_file(folder.file("output"));
  const std::size_t at = first_report.find("Number of unknowns");
  ASSERT_NE(at, std::string::npos);
  const std::string counts = first_report.substr(at, first_report.find("*****", at) - at);
  // system_matrices: the profile (dimension, size, dimension+1 row offsets, size columns), then
  // h and c of the transient job, each one value per profile entry.
  const std::string matrices = read_file(folder.file("system_matrices"));
  ASSERT_GE(matrices.size(), 8u);
  std::int32_t dimension = 0, size = 0;
  std::memcpy(&dimension, matrices.data(), 4);
  std::memcpy(&size, matrices.data() + 4, 4);
  EXPECT_NE(counts.find(std::to_string(dimension)), std::string::npos);
  EXPECT_NE(counts.find(std::to_string(size)), std::string::npos);
  EXPECT_EQ(matrices.size(),
            8u + 4u * (static_cast<std::size_t>(dimension) + 1 + static_cast<std::size_t>(size)) +
                2u * 8u * static_cast<std::size_t>(size));
  // A later run takes the model from mesh_data and makes the same system.
  std::filesystem::remove(folder.file("pre_geom.nas"));
  std::filesystem::remove(folder.file("pre_geom"));
  cards[1] = "0 1";
  ASSERT_EQ(run_deck(join_cards(cards)).exit_status, 0) << check();
  const std::string second_report = read_file(folder.file("output"));
  EXPECT_NE(second_report.find(counts), std::string::npos);
  EXPECT_EQ(read_file(folder.file("system_matrices")), matrices);
}
