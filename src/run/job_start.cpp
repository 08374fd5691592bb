// Opening of the run files of a job and the banner of its report.
#include "run/job_start.hpp"

#include "job/job_options.hpp"
#include "job/release.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "job/run_log.hpp"
#include "results/json_report.hpp"

#include <ctime>

namespace tesmora {
namespace {

JOB_TIMES the_job_times;

constexpr int banner_width = 90;

// The module name in block letters, strokes two characters wide and bars two rows thick.
constexpr const char *block_letters[] = {
    "TTTTTTTT  EEEEEEEE   SSSSSSS  MM    MM   OOOOOO   RRRRRRR     AAAA  ",
    "TTTTTTTT  EEEEEEEE  SSSSSSSS  MMM  MMM  OOOOOOOO  RRRRRRRR   AAAAAA ",
    "   TT     EE        SS        MMMMMMMM  OO    OO  RR    RR  AA    AA",
    "   TT     EEEEEE    SSSSSSS   MM MM MM  OO    OO  RRRRRRRR  AAAAAAAA",
    "   TT     EEEEEE     SSSSSSS  MM    MM  OO    OO  RRRRRRR   AAAAAAAA",
    "   TT     EE               SS MM    MM  OO    OO  RR   RR   AA    AA",
    "   TT     EEEEEEEE  SSSSSSSS  MM    MM  OOOOOOOO  RR    RR  AA    AA",
    "   TT     EEEEEEEE  SSSSSSS   MM    MM   OOOOOO   RR    RR  AA    AA",
};

constexpr const char *address_block[] = {
    "Tesmora: three-dimensional low-frequency electromagnetic field analysis",
    "The Tesmora developers",
    "Batch solver for motors, transformers, actuators and magnets",
};

// One framed line: a star, the text centred in the 88 columns between, a star.
void write_framed(std::FILE *stream, const std::string &text) {
  const int inner = banner_width - 2;
  const int left = (inner - static_cast<int>(text.size())) / 2;
  const int right = inner - left - static_cast<int>(text.size());
  write_report(stream, "*%*s%s%*s*\n", left, "", text.c_str(), right, "");
}

// Top and bottom line of the frame: stars with the word Tesmora repeated along them.
void write_word_line(std::FILE *stream) {
  std::string line(banner_width, '*');
  const std::string word = " Tesmora ";
  for (std::size_t at = 3; at + word.size() + 3 <= line.size(); at += word.size() + 3)
    line.replace(at, word.size(), word);
  write_report(stream, "%s\n", line.c_str());
}

} // namespace

JOB_TIMES &job_times() { return the_job_times; }

std::string local_time_text(long long seconds) {
  const std::time_t when = static_cast<std::time_t>(seconds);
  std::tm parts{};
  localtime_r(&when, &parts);
  char text[64];
  std::strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y\n", &parts);
  return text;
}

void write_banner(std::FILE *stream, const std::string &start_time_text) {
  write_report(stream, "\n\n");
  write_word_line(stream);
  write_framed(stream, "");
  for (const char *row : block_letters) write_framed(stream, row);
  write_framed(stream, "");
  for (const char *row : address_block) write_framed(stream, row);
  write_framed(stream, "");
  write_word_line(stream);
  write_report(stream, "\n");
  write_report(stream,
               "                        %s r%s.%d %s  %s                                           \n",
               module_name, release_number, release_revision, word_size_text, release_date);
  write_report(stream, "  %s has started at %s \n\n", module_name, start_time_text.c_str());
}

void open_run_files() {
  the_job_times.start_time_text = local_time_text(static_cast<long long>(std::time(nullptr)));
  the_job_times.end_time_text.clear();
  create_run_files(job_options().control_input_name.c_str());
  RUN_FILES &files = run_files();
  open_ffile(files.print_out, "w");
  open_ffile(files.print_json, "w");
  json_reset(nullptr, 0);
  open_ffile(files.check, "w");
  write_banner(files.print_out->stream, the_job_times.start_time_text);
  std::fflush(files.print_out->stream);
  write_run_log_start(the_job_times.start_time_text);
}

} // namespace tesmora
