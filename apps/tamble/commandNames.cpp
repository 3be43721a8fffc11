#include "apps/tamble/commandNames.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "apps/tamble/failure.h"

namespace tamble::cli {
namespace {

enum class kind { word, operatorWord, arithmetic, open, close, blank, other };

struct token {
  kind type;
  std::string text;
};

bool isAlnum(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

std::string lowerCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Words and symbols, longest symbol first.
std::vector<token> tokenize(const std::string& label) {
  static const std::pair<const char*, const char*> symbols[] = {
      {"<->", "swap"}, {"->", "to"}, {"^2", "squared"}, {"&", "and"}};
  std::vector<token> out;
  std::size_t at = 0;
  while (at < label.size()) {
    const char c = label[at];
    if (isAlnum(c)) {
      std::size_t end = at;
      while (end < label.size() && isAlnum(label[end])) ++end;
      out.push_back({kind::word, lowerCase(label.substr(at, end - at))});
      at = end;
      continue;
    }
    const auto symbol = std::find_if(std::begin(symbols), std::end(symbols), [&](const auto& s) {
      return label.compare(at, std::strlen(s.first), s.first) == 0;
    });
    if (symbol != std::end(symbols)) {
      out.push_back({kind::operatorWord, symbol->second});
      at += std::strlen(symbol->first);
      continue;
    }
    kind type = kind::other;
    if (std::strchr("+-*/", c)) type = kind::arithmetic;
    if (c == '(') type = kind::open;
    if (c == ')') type = kind::close;
    if (c == ' ' || c == '\t') type = kind::blank;
    out.push_back({type, std::string(1, c)});
    ++at;
  }
  return out;
}

// The nearest token that is not blank, before (step -1) or after (step 1).
const token* neighbour(const std::vector<token>& tokens, std::size_t at, int step) {
  for (auto i = static_cast<std::ptrdiff_t>(at) + step;
       i >= 0 && i < static_cast<std::ptrdiff_t>(tokens.size()); i += step)
    if (tokens[static_cast<std::size_t>(i)].type != kind::blank)
      return &tokens[static_cast<std::size_t>(i)];
  return nullptr;
}

bool operand(const token* t, kind bracket) {
  return t && ((t->type == kind::word && t->text.size() == 1) || t->type == bracket);
}

const char* arithmeticWord(char c) {
  switch (c) {
    case '+': return "plus";
    case '-': return "minus";
    case '*': return "times";
    default: return "by";
  }
}

std::string qualified(const std::string& group, const std::string& name) {
  return group + "/" + name;
}

}  // namespace

std::string shortName(const std::string& label) {
  const std::vector<token> tokens = tokenize(label);
  std::vector<std::string> words;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    const token& t = tokens[i];
    if (t.type == kind::word || t.type == kind::operatorWord) words.push_back(t.text);
    if (t.type == kind::arithmetic && operand(neighbour(tokens, i, -1), kind::close) &&
        operand(neighbour(tokens, i, 1), kind::open))
      words.push_back(arithmeticWord(t.text[0]));
  }
  std::string name;
  for (const std::string& w : words) name += (name.empty() ? "" : "-") + w;
  return name;
}

commandNames::commandNames(const std::vector<plg2dapiFormatInfo>& table) {
  for (const plg2dapiFormatInfo& row : table)
    if (!row.isSeparator()) entries.push_back({&row, shortName(row.label), shortName(row.group)});
}

const commandNames::entry& commandNames::entryOf(const plg2dapiFormatInfo& row) const {
  return *std::find_if(entries.begin(), entries.end(),
                       [&](const entry& e) { return e.row == &row; });
}

bool commandNames::ambiguous(const entry& e) const {
  return std::any_of(entries.begin(), entries.end(), [&](const entry& other) {
    return &other != &e && (other.name == e.name || other.row->label == e.row->label);
  });
}

bool commandNames::matches(const entry& e, const std::string& typed) const {
  if (typed == e.row->label || typed == e.name) return true;
  // Labels may hold '/' themselves, so every '/' is tried as the group's end.
  for (std::size_t slash = typed.find('/'); slash != std::string::npos;
       slash = typed.find('/', slash + 1)) {
    const std::string group = typed.substr(0, slash);
    const std::string rest = typed.substr(slash + 1);
    if ((group == e.row->group || group == e.group) && (rest == e.row->label || rest == e.name))
      return true;
  }
  return false;
}

std::string commandNames::typedName(const plg2dapiFormatInfo& row) const {
  const entry& e = entryOf(row);
  return ambiguous(e) ? qualified(e.group, e.name) : e.name;
}

const plg2dapiFormatInfo& commandNames::resolve(const std::string& typed) const {
  std::vector<const entry*> found;
  for (const entry& e : entries)
    if (matches(e, typed)) found.push_back(&e);
  if (found.empty())
    throw stepError("unknown command '" + typed + "'; 'tamble commands' lists the commands");
  if (found.size() > 1) {
    std::string names;
    for (const entry* e : found)
      names += (names.empty() ? "" : ", ") + qualified(e->group, e->name);
    throw stepError("'" + typed + "' names more than one command; say which: " + names);
  }
  return *found.front()->row;
}

}  // namespace tamble::cli
