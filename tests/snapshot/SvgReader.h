#pragma once
// A small XML reader for the snapshot tests: checks that a document is well
// formed (one root, balanced and properly nested tags, quoted attributes
// without duplicates, known entities only, nothing after the root) and lists
// its elements with their attributes, so that tests can read the drawing back.

#include <cctype>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace svgtest {

struct Element {
  std::string name;
  std::map<std::string, std::string> attributes;  // entities decoded
  std::string text;                               // character data directly inside
  std::vector<int> ancestors;                     // indices of the enclosing elements
  bool has(const std::string& key) const { return attributes.count(key) != 0; }
  std::string attr(const std::string& key) const {
    auto found = attributes.find(key);
    return found == attributes.end() ? std::string() : found->second;
  }
  double number(const std::string& key) const { return std::strtod(attr(key).c_str(), nullptr); }
};

struct Document {
  bool wellFormed = false;
  std::string error;              // why not, with the byte offset
  std::vector<Element> elements;  // in document order, the root first

  // Elements with the given tag whose class attribute is cls ("" matches any).
  std::vector<const Element*> find(const std::string& tag, const std::string& cls = "") const {
    std::vector<const Element*> out;
    for (const Element& e : elements)
      if (e.name == tag && (cls.empty() || e.attr("class") == cls))
        out.push_back(&e);
    return out;
  }
};

namespace detail {

inline bool nameStart(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) || c == '_' || c == ':';
}
inline bool nameChar(char c) {
  return nameStart(c) || std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '.';
}

class Parser {
 public:
  explicit Parser(const std::string& text) : s(text) {}

  Document run() {
    Document doc;
    skipSpace();
    if (s.compare(i, 5, "<?xml") == 0) {
      size_t end = s.find("?>", i);
      if (end == std::string::npos)
        return fail(doc, "unterminated XML declaration");
      i = end + 2;
    }
    std::vector<int> open;
    bool rootDone = false;
    while (true) {
      size_t textStart = i;
      while (i < s.size() && s[i] != '<')
        ++i;
      std::string chars;
      if (!decode(s.substr(textStart, i - textStart), chars))
        return fail(doc, "bad entity in text");
      if (open.empty()) {
        if (chars.find_first_not_of(" \t\r\n") != std::string::npos)
          return fail(doc, "text outside the root element");
      } else {
        doc.elements[open.back()].text += chars;
      }
      if (i >= s.size())
        break;
      if (s.compare(i, 4, "<!--") == 0) {
        size_t end = s.find("-->", i + 4);
        if (end == std::string::npos)
          return fail(doc, "unterminated comment");
        i = end + 3;
        continue;
      }
      if (s.compare(i, 2, "</") == 0) {
        i += 2;
        std::string name = readName();
        skipSpace();
        if (name.empty() || i >= s.size() || s[i] != '>')
          return fail(doc, "bad end tag");
        ++i;
        if (open.empty() || doc.elements[open.back()].name != name)
          return fail(doc, "end tag </" + name + "> does not match");
        open.pop_back();
        if (open.empty())
          rootDone = true;
        continue;
      }
      ++i;  // '<'
      if (rootDone)
        return fail(doc, "a second root element");
      Element element;
      element.name = readName();
      if (element.name.empty())
        return fail(doc, "bad start tag");
      element.ancestors = open;
      bool selfClosing = false;
      while (true) {
        const size_t before = i;
        skipSpace();
        if (i >= s.size())
          return fail(doc, "unterminated tag");
        if (s[i] == '>') {
          ++i;
          break;
        }
        if (s.compare(i, 2, "/>") == 0) {
          i += 2;
          selfClosing = true;
          break;
        }
        if (i == before)
          return fail(doc, "attributes must be separated by space");
        std::string key = readName();
        skipSpace();
        if (key.empty() || i >= s.size() || s[i] != '=')
          return fail(doc, "bad attribute in <" + element.name + ">");
        ++i;
        skipSpace();
        if (i >= s.size() || (s[i] != '"' && s[i] != '\''))
          return fail(doc, "unquoted attribute " + key);
        const char quote = s[i++];
        size_t end = s.find(quote, i);
        if (end == std::string::npos)
          return fail(doc, "unterminated attribute " + key);
        std::string raw = s.substr(i, end - i), value;
        i = end + 1;
        if (raw.find('<') != std::string::npos || !decode(raw, value))
          return fail(doc, "bad character in attribute " + key);
        if (element.attributes.count(key))
          return fail(doc, "duplicate attribute " + key);
        element.attributes[key] = value;
      }
      doc.elements.push_back(element);
      if (selfClosing) {
        if (open.empty())
          rootDone = true;
      } else {
        open.push_back(int(doc.elements.size()) - 1);
      }
    }
    if (!open.empty())
      return fail(doc, "unclosed <" + doc.elements[open.back()].name + ">");
    if (!rootDone)
      return fail(doc, "no root element");
    doc.wellFormed = true;
    return doc;
  }

 private:
  Document& fail(Document& doc, const std::string& why) {
    doc.wellFormed = false;
    doc.error = why + " at byte " + std::to_string(i);
    return doc;
  }
  void skipSpace() {
    while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i])))
      ++i;
  }
  std::string readName() {
    size_t start = i;
    if (i < s.size() && nameStart(s[i]))
      while (i < s.size() && nameChar(s[i]))
        ++i;
    return s.substr(start, i - start);
  }
  static bool decode(const std::string& raw, std::string& out) {
    for (size_t k = 0; k < raw.size(); ++k) {
      if (raw[k] == '>' && k >= 2 && raw.compare(k - 2, 3, "]]>") == 0)
        return false;
      if (raw[k] != '&') {
        out += raw[k];
        continue;
      }
      size_t end = raw.find(';', k);
      if (end == std::string::npos)
        return false;
      const std::string entity = raw.substr(k + 1, end - k - 1);
      if (entity == "amp")
        out += '&';
      else if (entity == "lt")
        out += '<';
      else if (entity == "gt")
        out += '>';
      else if (entity == "quot")
        out += '"';
      else if (entity == "apos")
        out += '\'';
      else if (entity.size() > 1 && entity[0] == '#')
        out += '?';  // numeric references are legal; their value is not needed here
      else
        return false;
      k = end;
    }
    return true;
  }

  const std::string& s;
  size_t i = 0;
};

}  // namespace detail

inline Document parse(const std::string& text) {
  return detail::Parser(text).run();
}

}  // namespace svgtest
