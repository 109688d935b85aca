// Every input kept in fuzz/xml_parse/ (seeds and the crashers the fuzzer
// found) replayed the way the fuzz target runs it: the first byte picks the
// flags, then every node is read and the document copied.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "XmlTestUtil.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"

namespace {

TEST(MiniXmlFuzzInputs, ReplayWithoutFault) {
  std::filesystem::path dir = std::filesystem::path(RH_SOURCE_DIR) / "fuzz" / "xml_parse";
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    std::ifstream in(entry.path(), std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    std::string bytes = ss.str();
    if (bytes.empty()) continue;
    ++files;
    uint32_t flags = static_cast<uint8_t>(bytes[0]) & 11u;
    bool inPlace = (bytes[0] & 0x10) != 0;
    std::string text = bytes.substr(1);
    cmMiniXml doc;
    doc.setIdsEnabled((bytes[0] & 0x20) != 0);
    int32_t status = 0;
    try {
      doc.loadText(text.c_str(), static_cast<int64_t>(text.size()), flags, &status, inPlace);
    } catch (const cmException& e) {
      EXPECT_NE(e.number(), CM_ERR_OUT_OF_MEMORY) << entry.path();
      EXPECT_EQ(doc.root()->firstChild, nullptr) << entry.path();
      continue;
    }
    EXPECT_EQ(xmltest::checkRings(doc), "") << entry.path();
    for (auto it = doc.walk(); !it.done(); it.next()) {
      cmMiniXmlNode* n = const_cast<cmMiniXmlNode*>(*it);
      if (!(n->kind & (CMXML_ELEMENT_KINDS | CMXML_NODE_DOCUMENT))) doc.nodeValue(n);
      doc.lineOfNode(n);
    }
    doc.nodeValue(doc.root());
    cmMiniXml copy(doc);
    EXPECT_EQ(xmltest::checkRings(copy), "") << entry.path();
    EXPECT_LE(copy.nodeCount(), doc.nodeCount()) << entry.path();
  }
  EXPECT_GE(files, 5u);
}

}  // namespace
