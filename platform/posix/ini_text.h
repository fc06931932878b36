#pragma once
#include <cstddef>
#include <string>

// Line-level view of an INI file's text for the POSIX profile backend: finds sections the way
// the Windows reader does (first of same-named sections, names without case) and edits a key in
// place so the rest of the text stays as it was. Pure functions apart from the two file helpers.

namespace orin::platform::ini {

struct SectionRange {
  std::size_t headerBegin;  // first byte of the "[name]" line
  std::size_t bodyBegin;    // first byte after the header line
  std::size_t bodyEnd;      // first byte of the next header line, or the text's end
};

std::string Trim(const std::string& s);
bool SameName(const std::string& a, const std::string& b);

// The first section called name (compared without case).
bool FindSection(const std::string& text, const std::string& name, SectionRange* range);

// Sets section/key to value: replaces the first such key line, else adds the key at the end of
// the first such section, else appends the section. Uses the text's own line ending.
void SetKey(std::string* text, const std::string& section, const std::string& key,
            const std::string& value);

// Whole-file read; false with errno set when it cannot be read.
bool ReadFileText(const char* path, std::string* text);
// Replaces the file's contents through a temporary file and a rename, so a failed write never
// leaves a half-written file behind. Creates the file, not its folder.
bool ReplaceFileText(const char* path, const std::string& text);

}  // namespace orin::platform::ini
