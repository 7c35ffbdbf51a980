/*
 * soapReply.h -- the texts of replies: results and faults in their envelope, and the documents with a
 * service's version
 */
#pragma once

#include <string>
#include <string_view>

#include "tools/simulator/simulator.h"
#include "tools/simulator/soapRequest.h"

namespace simulator {

/* A service's namespace and version, as its documents have them. */
struct VersionNames {
    std::string nameSpace; /* "ozy25" */
    std::string version;   /* "6.0" */

    static VersionNames Of(const std::string &text); /* "ozy25/6.0" */
};

/* `inner` is the content of the "...Response" element. */
std::string ResultText(std::string_view nameSpace, std::string_view method, std::string_view inner,
                       std::string_view prefix = "soapenv");
std::string FaultText(std::string_view nameSpace, const Fault &fault, bool withDetail = true,
                      std::string_view prefix = "soapenv");

/* <returnval>...</returnval> of a result. */
std::string Returned(const Value &value, bool typed = false);

/* The body of the versions document; empty for Empty, Missing and MissingWithWsdl. */
std::string VersionsText(const VersionNames &names, VersionsForm form);
std::string WsdlText(const VersionNames &names);
std::string WsdlTypesText(
    const VersionNames &names); /* the document that the WSDL imports; it describes no type */

/* Returns whether a version is the other one or a later one of its family. */
bool VersionHas(const std::string &version, std::string_view other);

} // namespace simulator
