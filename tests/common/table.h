// Tables of cases kept as text files under the test data, each read by one
// table-driven test. One case a line, its fields split by '|'; '#' at the
// start of a line or after a blank starts a comment; a line ending in '\'
// goes on on the next; "[name]" starts a section; "$name = octets" names
// octets (in the notation of Hex) that later fields use as $name.
#ifndef CMSKIT_TESTS_COMMON_TABLE_H
#define CMSKIT_TESTS_COMMON_TABLE_H

#include <map>
#include <sstream>

#include "common/bytes.h"

namespace cmskit_testing {

struct Row {
  std::string where;  // file:line, for the failure messages
  std::vector<std::string> fields;
  const std::string& operator[](size_t i) const { return fields.at(i); }
};

class Table {
 public:
  explicit Table(const std::string& name) {
    std::ifstream in(TestData(name));
    if (!in) throw std::runtime_error("cannot read " + TestData(name));
    std::string line, text, section;
    for (int number = 1, first = 1; std::getline(in, line); ++number, first = text.empty() ? number : first) {
      for (size_t hash = line.find('#'); hash != std::string::npos; hash = line.find('#', hash + 1))
        if (hash == 0 || isspace(static_cast<unsigned char>(line[hash - 1]))) line.erase(hash);
      text += Trim(line);
      if (!text.empty() && text.back() == '\\') {
        text.back() = ' ';
      } else if (text[0] == '[') {
        section = text.substr(1, text.find(']') - 1);
      } else if (text[0] == '$') {
        names_[Trim(text.substr(1, text.find('=') - 1))] = Trim(text.substr(text.find('=') + 1));
      } else if (!text.empty()) {
        Row row{name + ":" + std::to_string(first), {}};
        std::istringstream fields(text + "|");
        for (std::string field; std::getline(fields, field, '|');) row.fields.push_back(Trim(field));
        sections_[section].push_back(row);
      }
      if (text.empty() || text.back() != ' ') text.clear();
    }
  }

  const std::vector<Row>& Rows(const std::string& section = "") const { return sections_.at(section); }
  Bytes Octets(const std::string& field) const { return Hex(Expand(field)); }

 private:
  static std::string Trim(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
  }
  // Each name becomes its octets in parentheses, so that $name*3 repeats the whole.
  std::string Expand(const std::string& text) const {
    std::string out;
    for (size_t at = 0, end = 0; at < text.size(); at = end) {
      for (end = at + 1; text[at] == '$' && end < text.size() && (isalnum(text[end]) || text[end] == '_');)
        ++end;
      out += text[at] != '$' ? text.substr(at, 1)
                             : "(" + Expand(names_.at(text.substr(at + 1, end - at - 1))) + ")";
    }
    return out;
  }

  std::map<std::string, std::vector<Row>> sections_;
  std::map<std::string, std::string> names_;
};

}  // namespace cmskit_testing

#endif
