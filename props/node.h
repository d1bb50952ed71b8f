// The property tree: nodes with typed attributes (CoXMLNode, ITNode, ITAttributes), their paths and
// their XML text form. Start here.
#pragma once

#include "props/itnode.h"
#include "props/name_hash.h"
#include "props/node_path.h"
#include "props/xml_attribute.h"
#include "props/xml_node.h"
#include "props/xml_writer.h"
