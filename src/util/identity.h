// Who made this program and where it lives: the one place for the words
// that the banners, file headers and web hand-off print.
#pragma once

namespace tevo {

constexpr const char* kVersion = "2.6.9";
constexpr const char* kProgramName = "TEVO";
constexpr const char* kMotto = "reads, alignments and structures in one toolbox";
constexpr const char* kMaker = "the tevo developers";
constexpr const char* kContact = "tevo@tevana.org";
constexpr const char* kServer = "https://tevana.org";      // report server; "/job/<name>" is a job page
constexpr const char* kDocumentation = "https://tevana.org/docs";
constexpr const char* kLicence = "MIT License";
constexpr int kFirstYear = 2017;

}  // namespace tevo
