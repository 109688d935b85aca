#include "xml/tvXmlCfgWriter.h"

#include <algorithm>
#include <vector>

#include "text/cmStringCompare.h"

namespace {

bool isAttribute(const cmMiniXmlNode* n) { return n->kind == CMXML_NODE_ATTRIBUTE; }

// The children after the leading attributes, or null.
cmMiniXmlNode* firstContent(const cmMiniXmlNode* parent) {
  cmMiniXmlNode* c = parent->firstChild;
  if (!c) return nullptr;
  do {
    if (!isAttribute(c)) return c;
    c = c->nextSibling;
  } while (c != parent->firstChild);
  return nullptr;
}

}  // namespace

tvXmlCfgWriter::tvXmlCfgWriter(cmMiniXml& doc, int32_t indent, uint32_t flags, std::string_view eol)
    : doc_(doc), indent_(indent), flags_(flags), eol_(eol) {
  if (flags_ & CMXML_SAVE_NO_FORMAT) {
    flags_ |= CMXML_SAVE_ATTRS_INLINE;
    flags_ &= ~CMXML_SAVE_CLOSE_ON_OWN_LINE;
  }
}

void tvXmlCfgWriter::writeChildren(cmMiniXmlNode* node) {
  if (!node) node = doc_.root();
  if (node == doc_.root() && !doc_.versionText().empty()) writeDeclaration();
  if (cmMiniXmlNode* first = firstContent(node)) writeList(first, node, 0);
}

void tvXmlCfgWriter::writeDeclaration() {
  put("<?xml version=");
  appendQuotedValue(out_, doc_.versionText(), 0, eol_);
  if (!doc_.encodingName().empty()) {
    put(" encoding=");
    appendQuotedValue(out_, doc_.encodingName(), 0, eol_);
  }
  if (!doc_.standaloneText().empty()) {
    put(" standalone=");
    appendQuotedValue(out_, doc_.standaloneText(), 0, eol_);
  }
  put("?>");
  lineEnd();
}

void tvXmlCfgWriter::writeList(cmMiniXmlNode* first, cmMiniXmlNode* parent, int32_t depth) {
  cmMiniXmlNode* n = first;
  do {
    if (!isAttribute(n)) {
      writeNode(n, depth);
      bool last = n->isLastSibling();
      if (n->kind != CMXML_NODE_TEXT && !(flags_ & CMXML_SAVE_NO_FORMAT)) {
        if (last || n->nextSibling->kind != CMXML_NODE_TEXT) lineEnd();
      }
    }
    n = n->nextSibling;
  } while (n != parent->firstChild);
}

void tvXmlCfgWriter::writeNode(cmMiniXmlNode* n, int32_t depth) {
  switch (n->kind) {
    case CMXML_NODE_TEXT:
      writeText(n);
      break;
    case CMXML_NODE_CDATA:
      if (flags_ & CMXML_SAVE_CDATA_AS_TEXT) {
        writeText(n);
      } else {
        indentTo(depth);
        writeCdata(n);
      }
      break;
    case CMXML_NODE_COMMENT:
      indentTo(depth);
      put("<!--");
      raw(n->rawValue());
      put("-->");
      break;
    case CMXML_NODE_DOCTYPE:
      indentTo(depth);
      writeDoctype(n);
      break;
    case CMXML_NODE_PI:
      indentTo(depth);
      put("<?");
      put(n->nameView());
      put(" ");
      raw(n->rawValue());
      put("?>");
      break;
    case CMXML_NODE_ELEMENT:
    case CMXML_NODE_ELEMENT_EMPTY:
    case CMXML_NODE_DECLARATION:
      writeElement(n, depth);
      break;
    default:
      break;
  }
}

void tvXmlCfgWriter::writeElement(cmMiniXmlNode* n, int32_t depth) {
  indentTo(depth);
  const bool declaration = n->kind == CMXML_NODE_DECLARATION;
  put(declaration ? "<?" : "<");
  put(n->nameView());

  std::vector<cmMiniXmlNode*> attrs;
  if (cmMiniXmlNode* c = n->firstChild) {
    do {
      if (isAttribute(c)) attrs.push_back(c);
      c = c->nextSibling;
    } while (c != n->firstChild && isAttribute(c));
  }
  if ((flags_ & CMXML_SAVE_SORT_ATTRS) && !declaration) {
    std::stable_sort(attrs.begin(), attrs.end(), [](const cmMiniXmlNode* a, const cmMiniXmlNode* b) {
      std::string_view x = a->nameView(), y = b->nameView();
      return cmStringCompare::folded(x.data(), x.size(), y.data(), y.size()) < 0;
    });
  }
  const bool inlineAttrs = (flags_ & CMXML_SAVE_ATTRS_INLINE) ||
                           ((flags_ & CMXML_SAVE_ONE_ATTR_INLINE) && attrs.size() == 1) || declaration;
  if (inlineAttrs) {
    for (cmMiniXmlNode* a : attrs) {
      put(" ");
      writeAttribute(a);
    }
  } else if (!attrs.empty()) {
    for (cmMiniXmlNode* a : attrs) {
      lineEnd();
      indentTo(depth + 1);
      writeAttribute(a);
    }
    if (flags_ & CMXML_SAVE_CLOSE_ON_OWN_LINE) {
      lineEnd();
      indentTo(n->kind == CMXML_NODE_ELEMENT ? depth + 1 : depth);
    }
  }

  if (declaration) {
    put(" ?>");
    return;
  }
  if (n->kind == CMXML_NODE_ELEMENT_EMPTY) {
    bool spaced = !attrs.empty() && (flags_ & CMXML_SAVE_SPACE_BEFORE_SLASH) && (flags_ & CMXML_SAVE_ATTRS_INLINE);
    put(spaced ? " />" : "/>");
    return;
  }
  put(">");

  cmMiniXmlNode* first = firstContent(n);
  if (first) {
    const bool reformat = flags_ & (CMXML_SAVE_REINDENT_TEXT | CMXML_SAVE_TEXT_ON_OWN_LINES);
    const char eolLast = eol_.empty() ? '\n' : eol_.back();
    if (!reformat && first->kind == CMXML_NODE_TEXT && first->isLastSibling() &&
        doc_.decodedValue(first).find(eolLast) == std::string_view::npos) {
      std::string_view v = doc_.decodedValue(first);
      appendEscapedText(out_, v);
      atLineStart_ = false;
    } else {
      if (!(flags_ & CMXML_SAVE_NO_FORMAT) && first->kind != CMXML_NODE_TEXT) lineEnd();
      if (depth < CMXML_SAVE_MAX_DEPTH) writeList(first, n, depth + 1);
      if (atLineStart_ || reformat) indentTo(depth);
    }
  }
  put("</");
  put(n->nameView());
  put(">");
}

void tvXmlCfgWriter::writeAttribute(cmMiniXmlNode* a) {
  put(a->nameView());
  put((flags_ & CMXML_SAVE_SPACED_EQUALS) ? " = " : "=");
  if (a->value && doc_.inTextBuffer(a->value)) {
    // The parsed source with the quotes around it, as it stood.
    std::string_view v = a->rawValue();
    out_ += a->value[-1];
    if (flags_ & CMXML_SAVE_ESCAPE_CONTROLS) {
      for (char c : v) {
        if (c == '\r') out_ += "&#x0D;";
        else if (c == '\n') out_ += "&#x0A;";
        else out_ += c;
      }
    } else {
      raw(v);
    }
    out_ += a->value[a->valueLength];
    atLineStart_ = false;
    return;
  }
  appendQuotedValue(out_, a->rawValue(), flags_, eol_);
  atLineStart_ = false;
}

void tvXmlCfgWriter::appendQuotedValue(std::string& out, std::string_view v, uint32_t flags, std::string_view eol) {
  const bool dq = v.find('"') != std::string_view::npos;
  const bool sq = v.find('\'') != std::string_view::npos;
  const char quote = (dq && !sq) ? '\'' : '"';
  out += quote;
  for (size_t i = 0; i < v.size(); ++i) {
    char c = v[i];
    switch (c) {
      case '<': out += "&lt;"; continue;
      case '>': out += "&gt;"; continue;
      case '&': out += "&amp;"; continue;
      case '"':
        if (dq && sq) out += "&quot;";
        else out += c;
        continue;
      default: break;
    }
    if (flags & CMXML_SAVE_ESCAPE_CONTROLS) {
      const char* ref = nullptr;
      switch (c) {
        case '\r': ref = "&#x0D;"; break;
        case '\n': ref = "&#x0A;"; break;
        case '\f': ref = "&#x0C;"; break;
        case '\v': ref = "&#x0B;"; break;
        case '\t': ref = "&#x09;"; break;
        case '\0': ref = "&#x00;"; break;
        case 26: ref = "&#x1A;"; break;
        default: break;
      }
      if (ref) out += ref;
      else out += c;
    } else if (c == '\n') {
      out.append(eol);
    } else if (c == '\r' && i + 1 < v.size() && v[i + 1] == '\n') {
      out.append(eol);
      ++i;
    } else {
      out += c;
    }
  }
  out += quote;
}

void tvXmlCfgWriter::appendEscapedText(std::string& out, std::string_view text) {
  size_t run = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char* ref = text[i] == '&' ? "&amp;" : text[i] == '<' ? "&lt;" : text[i] == '>' ? "&gt;" : nullptr;
    if (!ref) continue;
    out.append(text.substr(run, i - run));
    out += ref;
    run = i + 1;
  }
  out.append(text.substr(run));
}

void tvXmlCfgWriter::writeText(cmMiniXmlNode* n) {
  std::string_view v = doc_.decodedValue(n);
  const bool translate = indent_ != 0 && !(flags_ & CMXML_SAVE_NO_FORMAT);
  if (!translate) {
    appendEscapedText(out_, v);
  } else {
    std::string escaped;
    appendEscapedText(escaped, v);
    for (size_t i = 0; i < escaped.size(); ++i) {
      char c = escaped[i];
      if (c == '\r') {
        if (i + 1 < escaped.size() && escaped[i + 1] == '\n') ++i;
        out_.append(eol_);
      } else if (c == '\n') {
        out_.append(eol_);
      } else {
        out_ += c;
      }
    }
  }
  atLineStart_ = !eol_.empty() && out_.size() >= eol_.size() &&
                 out_.compare(out_.size() - eol_.size(), eol_.size(), eol_) == 0;
}

void tvXmlCfgWriter::writeCdata(cmMiniXmlNode* n) {
  std::string_view v = n->rawValue();
  put("<![CDATA[");
  for (size_t pos = 0;;) {
    size_t hit = v.find("]]>", pos);
    if (hit == std::string_view::npos) {
      raw(v.substr(pos));
      break;
    }
    raw(v.substr(pos, hit - pos));
    put("]]]]><![CDATA[>");
    pos = hit + 3;
  }
  put("]]>");
}

void tvXmlCfgWriter::writeDoctype(cmMiniXmlNode* n) {
  put("<!");
  put(n->nameView());
  std::vector<cmMiniXmlNode*> attrs;
  if (cmMiniXmlNode* c = n->firstChild) {
    do {
      if (isAttribute(c)) attrs.push_back(c);
      c = c->nextSibling;
    } while (c != n->firstChild);
  }
  for (cmMiniXmlNode* a : attrs) {
    std::string_view name = a->nameView();
    std::string_view v = a->rawValue();
    if (name == "root") {
      if (!v.empty()) {
        put(" ");
        put(v);
      }
      continue;
    }
    put(" ");
    if (name == "DTD") {
      if (v.empty() || v.front() != '[') put("[");
      raw(v);
      if (v.empty() || v.back() != ']') put("]");
      continue;
    }
    put(name);
    put(" ");
    if (a->value && doc_.inTextBuffer(a->value)) {
      out_ += a->value[-1];
      raw(v);
      out_ += a->value[a->valueLength];
    } else {
      char q = (v.find('"') != std::string_view::npos && v.find('\'') == std::string_view::npos) ? '\'' : '"';
      out_ += q;
      raw(v);
      out_ += q;
    }
  }
  put(">");
}

void tvXmlCfgWriter::indentTo(int32_t depth) {
  if (!atLineStart_) return;
  if (indent_ > 0) out_.append(size_t(depth) * size_t(indent_), ' ');
  else if (indent_ < 0) out_.append(size_t(depth), '\t');
  atLineStart_ = false;
}

void tvXmlCfgWriter::lineEnd() {
  out_.append(eol_);
  atLineStart_ = true;
}

void tvXmlCfgWriter::raw(std::string_view s) {
  size_t run = 0;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] != '\n') continue;
    size_t end = (i > run && s[i - 1] == '\r') ? i - 1 : i;
    out_.append(s.substr(run, end - run));
    out_.append(eol_);
    run = i + 1;
  }
  out_.append(s.substr(run));
  atLineStart_ = false;
}
