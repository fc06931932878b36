#include "platform/posix/ini_text.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <strings.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/fd_io.h"

namespace orin::platform::ini {
namespace {

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

struct Line {
  std::size_t begin;
  std::size_t end;   // before the line break
  std::size_t next;  // start of the following line
};

bool NextLine(const std::string& text, std::size_t pos, Line* line) {
  if (pos >= text.size()) return false;
  const std::size_t nl = text.find('\n', pos);
  line->begin = pos;
  line->end = nl == std::string::npos ? text.size() : nl;
  line->next = nl == std::string::npos ? text.size() : nl + 1;
  return true;
}

// The name of a "[name]" line (up to the line's last "]"), or false when it is no header.
bool HeaderName(const std::string& text, const Line& line, std::string* name) {
  const std::string t = Trim(text.substr(line.begin, line.end - line.begin));
  if (t.empty() || t[0] != '[') return false;
  const std::size_t close = t.rfind(']');
  if (close == std::string::npos || close == 0) return false;
  *name = Trim(t.substr(1, close - 1));
  return true;
}

// Every other non-blank line is a key: its name runs to the first "=", or is the whole line.
// Windows has no comment syntax, so ";" and "#" lines are keys as well.
bool KeyName(const std::string& text, const Line& line, std::string* name) {
  const std::string t = Trim(text.substr(line.begin, line.end - line.begin));
  if (t.empty()) return false;
  *name = Trim(t.substr(0, t.find('=')));
  return true;
}

std::size_t BomLength(const std::string& text) {
  return text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
}

std::string LineBreakOf(const std::string& text) {
  return text.find("\r\n") != std::string::npos ? "\r\n" : "\n";
}

}  // namespace

std::string Trim(const std::string& s) {
  std::size_t b = 0;
  std::size_t e = s.size();
  while (b < e && IsSpace(s[b])) ++b;
  while (e > b && IsSpace(s[e - 1])) --e;
  return s.substr(b, e - b);
}

bool SameName(const std::string& a, const std::string& b) {
  return a.size() == b.size() && strncasecmp(a.c_str(), b.c_str(), a.size()) == 0;
}

bool FindSection(const std::string& text, const std::string& name, SectionRange* range) {
  Line line;
  std::size_t pos = BomLength(text);
  // Lines before the first header form a section without a name, and it always comes first, so
  // a "[]" header is never found by name. (Wine's writer drops such headers when it rewrites a
  // file, which moves their keys; Windows edits in place and so does this code.)
  bool inside = name.empty();
  range->headerBegin = range->bodyBegin = pos;
  while (NextLine(text, pos, &line)) {
    std::string header;
    if (HeaderName(text, line, &header)) {
      if (inside) {
        range->bodyEnd = line.begin;
        return true;
      }
      if (SameName(header, name)) {
        inside = true;
        range->headerBegin = line.begin;
        range->bodyBegin = line.next;
      }
    }
    pos = line.next;
  }
  if (inside) range->bodyEnd = text.size();
  return inside;
}

void SetKey(std::string* text, const std::string& section, const std::string& key,
            const std::string& value) {
  const std::string br = LineBreakOf(*text);
  SectionRange range;
  if (!FindSection(*text, section, &range)) {
    if (!text->empty() && text->back() != '\n') *text += br;
    *text += "[" + section + "]" + br + key + "=" + value + br;
    return;
  }
  Line line;
  std::size_t pos = range.bodyBegin;
  std::size_t insertAt = range.bodyBegin;  // after the section's last non-blank line
  while (pos < range.bodyEnd && NextLine(*text, pos, &line)) {
    std::string name;
    if (KeyName(*text, line, &name) && SameName(name, key)) {
      // Keep the key's own spelling and indentation; only the value changes.
      std::size_t end = line.end;
      if (end > line.begin && (*text)[end - 1] == '\r') --end;
      const std::size_t eq = text->find('=', line.begin);
      if (eq == std::string::npos || eq >= end) {
        text->insert(end, "=" + value);
      } else {
        text->replace(eq + 1, end - eq - 1, value);
      }
      return;
    }
    if (!Trim(text->substr(line.begin, line.end - line.begin)).empty()) insertAt = line.next;
    pos = line.next;
  }
  std::string add = key + "=" + value + br;
  // A last line without a break must get one before the new key follows it.
  if (insertAt > 0 && insertAt > BomLength(*text) && (*text)[insertAt - 1] != '\n') add = br + add;
  text->insert(insertAt, add);
}

bool ReadFileText(const char* path, std::string* text) {
  text->clear();
  int fd;
  do {
    fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return false;
  // Only regular files: a FIFO or device named as an INI file must not block or flood the caller.
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    errno = EINVAL;
    return false;
  }
  char chunk[8192];
  for (;;) {
    const ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n < 0) {
      if (errno == EINTR) continue;
      const int saved = errno;
      ::close(fd);
      errno = saved;
      return false;
    }
    if (n == 0) break;
    text->append(chunk, static_cast<std::size_t>(n));
  }
  ::close(fd);
  return true;
}

bool ReplaceFileText(const char* path, const std::string& text) {
  // Write through a link to its target, as an in-place write would.
  std::string target = path;
  char resolved[PATH_MAX];
  if (::realpath(path, resolved) != nullptr) target = resolved;

  struct stat st;
  const bool existed = ::stat(target.c_str(), &st) == 0;
  std::string tmp = target;
  int fd;
  if (existed) {
    tmp += ".XXXXXX";
    fd = ::mkstemp(&tmp[0]);
    if (fd >= 0 && ::fchmod(fd, st.st_mode & 07777) != 0) {
      ::close(fd);
      ::unlink(tmp.c_str());
      return false;
    }
  } else {
    // Nothing to protect yet; a new file gets the usual mode.
    fd = ::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  }
  if (fd < 0) return false;
  bool ok = WriteAll(fd, text.data(), text.size());
  if (::close(fd) != 0) ok = false;
  if (ok && existed && ::rename(tmp.c_str(), target.c_str()) != 0) ok = false;
  if (!ok) ::unlink(tmp.c_str());
  return ok;
}

}  // namespace orin::platform::ini
