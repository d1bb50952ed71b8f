// What the frame source needs of the device that owns it. The source never holds one of its own locks
// while it calls these: the device's lock comes first in the lock order.
#pragma once

#include "platform/com_types.h"
#include "props/xml_node.h"

class ISourceHost {
 public:
  // Makes sure the capture runs for a reader: under the device's lock, 0x800710D2 with no selected
  // engine, and an open of the device when its engine is not running yet. A negative status fails the read.
  virtual HRESULT OpenForRead() = 0;
  // The last reader has gone: the device closes the capture and gives the status of that close.
  virtual HRESULT LastReaderLeft() = 0;
  // The device's property tree, read again at each use so that a change applies to the next frame.
  // May be empty: the defaults apply then.
  virtual XMLParse::XMLNodePtr PropsRoot() = 0;

 protected:
  ~ISourceHost() = default;
};
