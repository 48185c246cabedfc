#pragma once

// XML documents, tab-separated tables and the engine configuration.
#include <document/CCSVParser.h>
#include <document/CConfigParser.h>
#include <document/CXMLElement.h>
#include <document/CXMLHelper.h>
#include <document/CXMLParser.h>
#include <document/IXMLParserListener.h>
