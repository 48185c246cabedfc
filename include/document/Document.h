#pragma once

// XML documents and tab-separated tables.
#include <document/CCSVParser.h>
#include <document/CXMLElement.h>
#include <document/CXMLHelper.h>
#include <document/CXMLParser.h>
#include <document/IXMLParserListener.h>
