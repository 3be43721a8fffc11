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

commandNames::commandNames(std::vector<menuEntry> menu) : entries(std::move(menu)) {}

commandNames::commandNames(const std::vector<plg2dapiFormatInfo>& table) {
  auto text = [this](const std::string& t) { return texts.emplace_back(t).c_str(); };
  auto derived = [](const plg2dapiFormatInfo& row) { return shortName(row.label); };
  for (const plg2dapiFormatInfo& row : table) {
    if (row.isSeparator()) {
      entries.push_back({nullptr, text(row.group)});
      continue;
    }
    const bool shared = std::count_if(table.begin(), table.end(), [&](const auto& other) {
                          return !other.isSeparator() &&
                                 (derived(other) == derived(row) || other.label == row.label);
                        }) > 1;
    const std::string name = shared ? qualified(shortName(row.group), derived(row)) : derived(row);
    made.push_back({text(name), text(row.group), text(row.label), text(row.tooltip),
                    text(row.helpTopic), {"its availability test says no", row.enabled}, {},
                    row.handler});
    entries.push_back({&made.back(), made.back().group});
  }
}

std::vector<const commandDescriptor*> commandNames::commands() const {
  std::vector<const commandDescriptor*> out;
  for (const menuEntry& e : entries)
    if (e.command) out.push_back(e.command);
  return out;
}

namespace {

bool namedLoosely(const commandDescriptor& d, const std::string& typed) {
  const std::string derived = shortName(d.label);
  if (typed == d.label || typed == derived) return true;
  // Labels may hold '/' themselves, so every '/' is tried as the group's end.
  for (std::size_t slash = typed.find('/'); slash != std::string::npos;
       slash = typed.find('/', slash + 1)) {
    const std::string group = typed.substr(0, slash);
    const std::string rest = typed.substr(slash + 1);
    if ((group == d.group || group == shortName(d.group)) &&
        (rest == d.label || rest == derived || rest == d.name))
      return true;
  }
  return false;
}

}  // namespace

const commandDescriptor& commandNames::resolve(const std::string& typed) const {
  const std::vector<const commandDescriptor*> all = commands();
  std::vector<const commandDescriptor*> found;
  for (const commandDescriptor* d : all)
    if (typed == d->name) found.push_back(d);
  if (found.empty())
    for (const commandDescriptor* d : all)
      if (namedLoosely(*d, typed)) found.push_back(d);
  if (found.empty())
    throw stepError("unknown command '" + typed + "'; 'tamble commands' lists the commands");
  if (found.size() > 1) {
    std::string names;
    for (const commandDescriptor* d : found) names += (names.empty() ? "" : ", ") + std::string(d->name);
    throw stepError("'" + typed + "' names more than one command; say which: " + names);
  }
  return *found.front();
}

}  // namespace tamble::cli
