// The source section: keywords with their checks and refusals, the table, amplitudes and the
// source report in both widths.
#include "input/control_data_writable.hpp"
#include "input/time_evolution.hpp"
#include "job/run_files.hpp"
#include "sources/coil_cards.hpp"
#include "sources/external_field.hpp"
#include "sources/field_sources.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

CONTROL_DATA transient_job() {
  CONTROL_DATA c;
  c.release = 12.0;
  c.is_transient = 1;
  return c;
}

CHILD_JOB read_sources_in_child(const std::string &text, const CONTROL_DATA &control) {
  return run_job_in_child([&] {
    writable_control_data() = control;
    FFILE *deck = open_job_card_file("input", text);
    read_source_section(deck, 1);
  });
}

std::string tail_of(const std::string &text, std::size_t size) {
  return text.size() < size ? text : text.substr(text.size() - size);
}

} // namespace

TEST(FieldSources, SectionOfSurfaceCurrentsAndPotentials) {
  ScopedJobFiles files;
  writable_control_data() = transient_job();
  FFILE *deck = files.open_card_text(
      "input", "* some cards before the section\nTRAILING DATA 1\nsource\n"
               "SUFCUR 4 0 7 0 1\nmpotsuf 5 9 0\nMPOTSUF 6 9 2\nsufcur 4 1 8 2.5 0\nEND\n");
  read_source_section(deck, 1);
  const FIELD_SOURCES &all = field_sources();
  ASSERT_EQ(all.no_sources, 4);
  const FIELD_SOURCE *first = find_field_source(4); // the first of series 4
  EXPECT_EQ(first->index, 0);
  EXPECT_EQ(first->type, source_sufcur);
  EXPECT_EQ(first->current_fix->current, 1.0); // CURRENT 0 means 1 A
  EXPECT_EQ(first->current_fix->surface_mat_id, 7);
  EXPECT_EQ(first->in_rotor, 1);
  EXPECT_NE(first->circuit_parm, nullptr);
  EXPECT_EQ(all.data[3].current_fix->current, 2.5);
  EXPECT_EQ(all.data[1].potential_surface->surface_mat_id, 9);
  EXPECT_EQ(all.data[1].circuit_parm, nullptr);
  EXPECT_EQ(all.no_forced_potentials, 1);
  const std::string check = files.check_text();
  EXPECT_NE(check.find("* SOURCE *\nTRAILING DATA 1\n* SOURCE *\nsource\n"), std::string::npos);
  EXPECT_NE(check.find("*MPOTSUF  *  SERIES_NO  * SURFACE_MAT_ID * TIME_ID *\nmpotsuf 5 9 0\n"),
            std::string::npos);
  EXPECT_NE(check.find("*END of SOURCE *\nEND\n"), std::string::npos);

  // Amplitudes follow the time functions; TIME_ID 0 gives 0 at every time.
  read_time_evolutions(
      files.open_card_text("evolutions", "2 0\n1 0\n0 3 0 0 0 0 0\n0 0 0\n2 0\n0.5 0 0 0 0 0 0\n0 0 0\n"));
  bind_field_sources();
  set_source_amplitudes(2.0);
  EXPECT_EQ(all.data[0].amplitude, 0.0);
  EXPECT_EQ(all.data[2].amplitude, 0.5);
  EXPECT_EQ(all.data[3].amplitude, 6.0); // 3 t at t = 2

  open_ffile(run_files().print_out, "w");
  print_sources(run_files().print_out->stream, 0);
  print_sources(run_files().print_out->stream, 1);
  close_ffile(run_files().print_out);
  const std::string heading = "***  Sources   *********************************************************\n"
                              "       ID No.      Amplitude(Current)    Voltage              Flux \n";
  char narrow[512];
  std::snprintf(narrow, sizeof narrow,
                "       %5d       %13.5e      %13.5e\n"
                "       %5d       %13.5e\n"
                "       %5d       %13.5e\n"
                "       %5d       %13.5e      %13.5e\n",
                4, 0.0, 0.0, 5, 0.0, 6, 0.5, 4, 6.0, 0.0);
  char wide[512];
  std::snprintf(wide, sizeof wide,
                "       %5d       %16.8e      %16.8e\n"
                "       %5d       %16.8e\n"
                "       %5d       %16.8e\n"
                "       %5d       %16.8e      %16.8e\n",
                4, 0.0, 0.0, 5, 0.0, 6, 0.5, 4, 6.0, 0.0);
  EXPECT_EQ(read_file(files.dir().file("output")), heading + narrow + "\n\n" + heading + wide + "\n\n");
  // The fixed widths themselves: 7 blanks and 5 digits, 7 blanks and 13 or 16 characters.
  EXPECT_NE(read_file(files.dir().file("output")).find("\n           6         5.00000e-01\n"),
            std::string::npos);
  EXPECT_NE(read_file(files.dir().file("output")).find("\n           6         5.00000000e-01\n"),
            std::string::npos);
}

TEST(FieldSources, EveryCheckAndRefusalStopsTheJob) {
  CONTROL_DATA transient = transient_job();
  CONTROL_DATA magnetostatic = transient;
  magnetostatic.is_static = 1;
  magnetostatic.is_transient = 0;
  CONTROL_DATA electric = magnetostatic;
  electric.electric_kind = 1;
  struct CASE {
    const char *deck;
    CONTROL_DATA control;
    int card;
    const char *message; // before the bad-card stop, or null
  };
  const CASE cases[] = {
      {"SOURCE\nCOIL 0 0 1 0 0 0\n", transient, 2, nullptr},
      {"SOURCE\nCOIL 1 -1 1 0 0 0\n", transient, 2, nullptr},
      {"SOURCE\nCOIL 1 0 0 0 0 0\n", transient, 2, nullptr},
      {"SOURCE\nCOIL 1 0 1 -1 0 0\n", transient, 2, nullptr},
      {"SOURCE\nCOIL 1 0 1 0 2 0\n", transient, 2, nullptr},
      {"SOURCE\nCOIL 1 0 1 0 0 -1\n", transient, 2, nullptr},
      {"SOURCE\nWGMODE 1 0 0 0 0\n", transient, 2, nullptr},
      {"SOURCE\nWGMODE 1 1 0 0 2\n", transient, 2, nullptr},
      {"SOURCE\nELMCUR 1 0 0 0\n", transient, 2, nullptr},
      {"SOURCE\nELMCUR 1 1 2 0\n", transient, 2, nullptr},
      {"SOURCE\nSDEFCOIL 1 0 0\n", transient, 2, nullptr},
      {"SOURCE\nPHICOIL 0 1 0\n", transient, 2, nullptr},
      {"SOURCE\nDCCURR 1 1 3\n", transient, 2, nullptr},
      {"SOURCE\nMAGNET 1 0 0 0\n", transient, 2, nullptr},
      {"SOURCE\nMAGNET 1 0 1 6\n", transient, 2, nullptr},
      {"SOURCE\nSUFCUR 1 0 0 0 0\n", transient, 2, nullptr},
      {"SOURCE\nSUFCUR 1 0 1 0 5\n", transient, 2, nullptr},
      {"SOURCE\nSUFCUR 1 0 1 0 0\n", magnetostatic, 2,
       "**** SUFCUR cannot be used in static calculation.****\n"},
      {"SOURCE\nMPOTSUF 1 0 0\n", transient, 2, nullptr},
      {"SOURCE\nMPOTSUF 1 1 0\n", electric, 2,
       "**** MPOTSUF can be used only in magnetic calculation.****\n"},
      {"SOURCE\nEPOTSUF 1\n", transient, 2,
       "**** EPOTSUF can be used only in electro_static calculation.****\n"},
      {"SOURCE\nEPOTVOL 1\n", transient, 2,
       "**** EPOTSUF can be used only in electro_static calculation.****\n"},
      {"SOURCE\nTEMPSUF 1\n", transient, 2,
       "**** TEMPSUF can be used only in thermal_static calculation.****\n"},
      {"SOURCE\nHEATVOL 1\n", transient, 2,
       "**** HEATVOL can be used only in thermal_static calculation.****\n"},
      {"SOURCE\nNETWORK -1 0\n", transient, 2, nullptr},
      {"SOURCE\nSUFCUR 1 0 1 0 0\nBOGUS 1\n", transient, 3, nullptr},
  };
  for (const CASE &c : cases) {
    SCOPED_TRACE(c.deck);
    const CHILD_JOB job = read_sources_in_child(c.deck, c.control);
    EXPECT_EQ(job.exit_status, 1);
    const std::string stop = std::string(c.message ? c.message : "") + "Error in card No." +
                             std::to_string(c.card) +
                             " in file input\n Job stops.\nexception error occured!! no.= 1\n";
    EXPECT_EQ(tail_of(job.check, stop.size()), stop) << job.check;
  }
  const CHILD_JOB missing = run_job_in_child([] { find_field_source(3); });
  EXPECT_EQ(missing.error, "Field source data series_no 3 is not found.\nexception error occured!! no.= 1\n");
  const CHILD_JOB open_end = read_sources_in_child("SOURCE\nSUFCUR 1 0 1 0 0\n", transient);
  EXPECT_EQ(tail_of(open_end.check, 56), "input is insufficient.\nexception error occured!! no.= 1\n");
}

TEST(FieldSources, KindsOfLaterWorkStopNamingTheirKeyword) {
  const CONTROL_DATA transient = transient_job();
  struct CASE {
    const char *deck;
    const char *name;
  };
  for (const CASE &c :
       {CASE{"SOURCE\nELMCUR 1 1 0 0\n", "ELMCUR source"}, CASE{"SOURCE\nCIRCUIT\n", "CIRCUIT"},
        CASE{"SOURCE\nNETWORK 0 0\n", "NETWORK"}, CASE{"SOURCE\nMAGNET 1 0 1 0\n", "MAGNET source"},
        CASE{"SOURCE\nDCCURR 1 1 0\n", "DCCURR source"}}) {
    SCOPED_TRACE(c.deck);
    const CHILD_JOB job = read_sources_in_child(c.deck, transient);
    EXPECT_EQ(job.exit_status, 1);
    EXPECT_NE(job.error.find(std::string("**** The ") + c.name + " data can't be read"), std::string::npos)
        << job.error;
  }
}

TEST(FieldSources, CoilSourceReadsItsElements) {
  ScopedJobFiles files;
  writable_control_data() = transient_job();
  FFILE *deck = files.open_card_text("input", "SOURCE\nCOIL 3 1 2 7 0 1\nLOOP 100 0.5 0.1 0 0\n"
                                              "LOOP 50 0.2 0.0 0 0\nEND\nEND\n");
  read_source_section(deck, 1);
  const FIELD_SOURCE *coil = find_field_source(3);
  EXPECT_EQ(coil->type, source_coil);
  EXPECT_EQ(coil->motion_id, 0); // kept only in a MOTION 1 job
  EXPECT_EQ(field_sources().no_coil_elements, 2);
  ASSERT_NE(coil->external, nullptr);
  // The two loops on the axis: B_z = mu0 N I a^2 / (2 (a^2 + z^2)^(3/2)) per loop, at the centre.
  const double centre[3] = {0.0, 0.0, 0.0};
  double B[3];
  external_field_B(*coil->external, COIL_EVALUATION{coil_options(), nullptr}, centre, B);
  const double mu0 = 4e-7 * std::numbers::pi;
  const double expected = mu0 * 100 * 0.5 * 0.5 / (2 * std::pow(0.25 + 0.01, 1.5)) + mu0 * 50 / (2 * 0.2);
  expect_close(B[2], expected, 1e-9, 0.0); // closed form on the axis; elliptic integrals to 1e-12
}
