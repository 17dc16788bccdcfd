#include "support/MhlSchemas.h"

#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>

namespace ferrydeck::test {

namespace {

void collect(void *context, const char *format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    *static_cast<std::string *>(context) += text;
}

} // namespace

std::optional<std::string> mhlSchemaFolder()
{
    const std::string folder = std::string(FERRYDECK_SOURCE_DIR) + "/../shared/ascmhl";
    struct stat info {};
    if (::stat((folder + "/ASCMHL.xsd").c_str(), &info) != 0) return std::nullopt;
    return folder;
}

std::string schemaErrors(const std::string &schemaFile, const std::string &xmlFile)
{
    std::string errors;
    // The core refuses every external entity process-wide; the directory
    // schema imports the hash-list schema from its own folder.
    const xmlExternalEntityLoader previous = xmlGetExternalEntityLoader();
    xmlSetExternalEntityLoader(xmlNoNetExternalEntityLoader);
    xmlSchemaParserCtxtPtr parser = xmlSchemaNewParserCtxt(schemaFile.c_str());
    xmlSchemaSetParserErrors(parser, collect, collect, &errors);
    xmlSchemaPtr schema = xmlSchemaParse(parser);
    xmlSetExternalEntityLoader(previous);
    if (!schema) {
        xmlSchemaFreeParserCtxt(parser);
        return "schema unreadable: " + errors;
    }
    xmlSchemaValidCtxtPtr validator = xmlSchemaNewValidCtxt(schema);
    xmlSchemaSetValidErrors(validator, collect, collect, &errors);
    const int result = xmlSchemaValidateFile(validator, xmlFile.c_str(), 0);
    if (result != 0 && errors.empty()) errors = "invalid (" + std::to_string(result) + ")";
    xmlSchemaFreeValidCtxt(validator);
    xmlSchemaFree(schema);
    xmlSchemaFreeParserCtxt(parser);
    return errors;
}

} // namespace ferrydeck::test
