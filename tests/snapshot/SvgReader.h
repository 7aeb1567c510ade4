#pragma once
// A small XML reader for the snapshot tests: checks that a document is well
// formed (one root, properly nested tags, quoted attributes without
// duplicates, known entities only) and lists its elements with their
// attributes, so that tests can read the drawing back.

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
  int parent = -1;                                // index of the enclosing element
  bool has(const std::string& key) const { return attributes.count(key) != 0; }
  std::string attr(const std::string& key) const { return has(key) ? attributes.at(key) : ""; }
  double number(const std::string& key) const { return std::strtod(attr(key).c_str(), nullptr); }
};

struct Document {
  bool wellFormed = false;
  std::string error;
  std::vector<Element> elements;  // in document order, the root first

  // Elements with the tag whose class attribute is cls.
  std::vector<const Element*> find(const std::string& tag, const std::string& cls) const {
    std::vector<const Element*> out;
    for (const Element& e : elements)
      if (e.name == tag && e.attr("class") == cls)
        out.push_back(&e);
    return out;
  }
};

inline bool decodeXml(const std::string& raw, std::string& out) {
  static const std::map<std::string, char> entities = {
      {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
  for (size_t k = 0; k < raw.size(); ++k) {
    if (raw[k] != '&') {
      out += raw[k];
      continue;
    }
    const size_t end = raw.find(';', k);
    if (end == std::string::npos || !entities.count(raw.substr(k + 1, end - k - 1)))
      return false;
    out += entities.at(raw.substr(k + 1, end - k - 1));
    k = end;
  }
  return true;
}

inline Document parse(const std::string& s) {
  Document doc;
  size_t i = 0;
  auto fail = [&](const std::string& why) {
    doc.wellFormed = false;
    doc.error = why + " at byte " + std::to_string(i);
    return doc;
  };
  auto space = [&] {
    while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i])))
      ++i;
  };
  auto name = [&] {
    const size_t start = i;
    if (i < s.size() && (std::isalpha(static_cast<unsigned char>(s[i])) || s[i] == '_'))
      while (i < s.size() && (std::isalnum(static_cast<unsigned char>(s[i])) ||
                              std::string("_-.:").find(s[i]) != std::string::npos))
        ++i;
    return s.substr(start, i - start);
  };
  if (s.compare(0, 5, "<?xml") == 0)
    i = s.find("?>") == std::string::npos ? s.size() : s.find("?>") + 2;
  std::vector<int> open;
  bool rootDone = false;
  while (true) {
    const size_t textStart = i;
    i = std::min(s.find('<', i), s.size());
    std::string text;
    if (!decodeXml(s.substr(textStart, i - textStart), text))
      return fail("bad entity in text");
    if (open.empty() && text.find_first_not_of(" \t\r\n") != std::string::npos)
      return fail("text outside the root");
    if (!open.empty())
      doc.elements[open.back()].text += text;
    if (i >= s.size())
      break;
    if (s.compare(i, 2, "</") == 0) {
      i += 2;
      const std::string end = name();
      space();
      if (open.empty() || i >= s.size() || s[i] != '>' || doc.elements[open.back()].name != end)
        return fail("end tag </" + end + "> does not match");
      ++i;
      open.pop_back();
      rootDone = open.empty();
      continue;
    }
    ++i;
    if (rootDone)
      return fail("a second root");
    Element element;
    element.name = name();
    element.parent = open.empty() ? -1 : open.back();
    if (element.name.empty())
      return fail("bad start tag");
    bool closed = false;
    while (true) {
      const size_t before = i;
      space();
      const bool spaced = i > before;
      if (i >= s.size())
        return fail("unterminated tag");
      if (s[i] == '>' || s.compare(i, 2, "/>") == 0) {
        closed = s[i] == '/';
        i += closed ? 2 : 1;
        break;
      }
      const std::string key = name();
      if (!spaced || key.empty() || i + 1 >= s.size() || s[i] != '=' ||
          (s[i + 1] != '"' && s[i + 1] != '\''))
        return fail("bad attribute in <" + element.name + ">");
      const size_t end = s.find(s[i + 1], i + 2);
      std::string value;
      if (end == std::string::npos || s.substr(i + 2, end - i - 2).find('<') != std::string::npos ||
          !decodeXml(s.substr(i + 2, end - i - 2), value) || element.has(key))
        return fail("bad or repeated attribute " + key);
      element.attributes[key] = value;
      i = end + 1;
    }
    doc.elements.push_back(element);
    if (!closed)
      open.push_back(int(doc.elements.size()) - 1);
    rootDone = rootDone || open.empty();
  }
  if (!open.empty() || !rootDone)
    return fail("unclosed element or no root");
  doc.wellFormed = true;
  return doc;
}

}  // namespace svgtest
