// Named files: open modes, reopening, failures, the run file table.
#include "job/ffile.hpp"
#include "job/job_options.hpp"
#include "job/run_files.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <set>

using namespace tesmora;
using namespace tesmora::testing;

TEST(FFile, BinaryFilesGetBInSecondPlace) {
  char mode[16];
  const struct {
    const char *mode;
    int binary;
    const char *expected;
  } cases[] = {{"r", 1, "rb"},   {"w", 1, "wb"},  {"a", 1, "ab"}, {"w+", 1, "wb+"},
               {"r+", 1, "rb+"}, {"w+", 0, "w+"}, {"r", 0, "r"}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.mode);
    make_open_mode(c.mode, c.binary, mode, sizeof mode);
    EXPECT_STREQ(mode, c.expected);
  }
}

TEST(FFile, SecondOpenRewindsAndKeepsTheOldMode) {
  ScopedJobFiles files;
  FFILE *ffile = create_ffile("notes", 0);
  std::FILE *stream = open_ffile(ffile, "w+");
  std::fputs("hello", stream);
  ffile->record_count = 7;
  EXPECT_EQ(ffile->state, 2);
  // Asked for reading, it is only rewound: still the same stream, still writable.
  EXPECT_EQ(open_ffile(ffile, "r"), stream);
  EXPECT_EQ(ffile->state, 2);
  EXPECT_EQ(ffile->record_count, 0);
  EXPECT_EQ(std::ftell(stream), 0);
  char text[8] = {};
  EXPECT_EQ(std::fread(text, 1, 5, stream), 5u);
  EXPECT_STREQ(text, "hello");
  close_ffile(ffile);
  close_ffile(ffile); // closing a closed file does nothing
  EXPECT_EQ(ffile->state, 0);
  EXPECT_EQ(read_file(files.dir().file("notes")), "hello");
  // The record keeps the short name: the work directory is put in front only to open.
  EXPECT_STREQ(ffile->name, "notes");
  free_ffile(ffile, "ffile");
  close_ffile(nullptr);
}

TEST(FFile, MissingFileGivesNullOrStopsWithTheMessage) {
  {
    ScopedJobFiles files;
    FFILE *ffile = create_ffile("absent", 0);
    EXPECT_EQ(try_open_ffile(ffile, "r"), nullptr);
    EXPECT_EQ(ffile->state, 0);
    EXPECT_EQ(files.check_text(), "");
    free_ffile(ffile, "ffile");
  }
  const CHILD_JOB job = run_job_in_child([] { open_ffile(create_ffile("absent", 0), "r"); });
  EXPECT_EQ(job.exit_status, 1);
  const std::string message = "****  file absent cannot be opened **** \nexception error occured!! no.= 1\n";
  EXPECT_EQ(job.check, message);
  EXPECT_EQ(job.error, message);
}

TEST(RunFiles, TableCreatesEveryRecordWithItsNameAndMode) {
  ScopedJobFiles files; // creates the table with the input named "input"
  const RUN_FILES &table = run_files();
  std::set<std::string> names;
  for (const RUN_FILE_ENTRY &entry : run_file_table()) {
    SCOPED_TRACE(std::string(entry.name));
    const FFILE *ffile = table.*entry.member;
    ASSERT_NE(ffile, nullptr);
    EXPECT_EQ(ffile->name, std::string(entry.name));
    EXPECT_EQ(ffile->binary, entry.binary);
    EXPECT_EQ(ffile->use_buffer, 0);
    EXPECT_EQ(ffile->buffer_size, 327600);
    EXPECT_TRUE(names.insert(std::string(entry.name)).second) << "name twice";
  }
  EXPECT_EQ(run_file_table().size(), 40u);
  EXPECT_EQ(table.print_json->name, std::string("output.json"));
  EXPECT_EQ(table.solutions->binary, 1);
  EXPECT_EQ(table.print_out->binary, 0);
}

TEST(RunFiles, MeshFileNames) {
  EXPECT_EQ(mesh_file_name(0), "pre_geom");
  EXPECT_EQ(mesh_file_name(1), "rotor_mesh");
  EXPECT_EQ(mesh_file_name(2), "rotor_mesh2");
  EXPECT_EQ(mesh_file_name(17), "rotor_mesh17");
}
