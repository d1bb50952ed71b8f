// The pieces of the XML dialect's reader that need no node: finding the next tag and decoding
// character data. Every function reads only inside [from, end) and always moves forward, so a reader
// built on them ends on any input.
#pragma once

#include <string>

namespace XMLParse {

struct XMLTag {
  enum Kind {
    eNone,   // no further markup; character data run up to `open`
    eSkip,   // a comment or processing instruction
    eStart,  // a start tag (also "<br>" and "<tab>", which never have content)
    eClose,  // a closing tag
    eCData,  // CDATA; its content is [dataBegin, dataEnd)
  };
  Kind kind = eNone;
  const wchar_t* open = nullptr;   // the "<"; for eNone where character data end
  const wchar_t* after = nullptr;  // where reading goes on
  std::wstring name;               // lower case
  const wchar_t* attrBegin = nullptr;  // attribute text, blanks and a final "/" taken off
  const wchar_t* attrEnd = nullptr;
  const wchar_t* dataBegin = nullptr;
  const wchar_t* dataEnd = nullptr;
  bool hasContent = false;  // a start tag that opens content
};

// The next markup at or after `from`. A comment or processing instruction that never closes ends the
// search: the result is eNone with the character data ending at its "<".
XMLTag ScanNextTag(const wchar_t* from, const wchar_t* end);

// Line ends and tabs to spaces, entities replaced. `sawNbsp` tells whether a "&nb" entity was met.
std::wstring DecodeCharData(const wchar_t* begin, const wchar_t* end, bool* sawNbsp = nullptr);

// Character data as a text child gets it: line blanks off both ends, decoded. False when nothing is
// left to add (empty, or spaces only without a "&nb" entity among them).
bool CharDataToText(const wchar_t* begin, const wchar_t* end, bool trimLineBlanks, std::wstring& text);

}  // namespace XMLParse
