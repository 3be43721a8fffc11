#include "apps/tamble/words.h"

#include "apps/tamble/failure.h"

namespace tamble::cli {
namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

class splitter {
 public:
  explicit splitter(const std::string& text) : line(text) {}

  std::vector<std::string> run() {
    while (at < line.size()) {
      const char c = line[at];
      if (isBlank(c)) {
        endWord();
        ++at;
      } else if (c == '#' && !inWord) {
        break;
      } else {
        inWord = true;
        take(c);
      }
    }
    endWord();
    return words;
  }

 private:
  void take(char c) {
    if (c == '\'') return singleQuoted();
    if (c == '"') return doubleQuoted();
    if (c == '\\') {
      if (at + 1 >= line.size()) throw usageError("a backslash ends the line");
      word += line[at + 1];
      at += 2;
      return;
    }
    word += c;
    ++at;
  }

  void singleQuoted() {
    const std::size_t close = line.find('\'', at + 1);
    if (close == std::string::npos) throw usageError("a ' quote is not closed");
    word += line.substr(at + 1, close - at - 1);
    at = close + 1;
  }

  void doubleQuoted() {
    for (++at; at < line.size(); ++at) {
      const char c = line[at];
      if (c == '"') {
        ++at;
        return;
      }
      if (c == '\\' && at + 1 < line.size() && (line[at + 1] == '"' || line[at + 1] == '\\')) ++at;
      word += line[at];
    }
    throw usageError("a \" quote is not closed");
  }

  void endWord() {
    if (inWord) words.push_back(word);
    word.clear();
    inWord = false;
  }

  const std::string& line;
  std::size_t at = 0;
  std::string word;
  bool inWord = false;  // also true for a word that is empty but quoted
  std::vector<std::string> words;
};

}  // namespace

std::vector<std::string> splitWords(const std::string& line) { return splitter(line).run(); }

}  // namespace tamble::cli
