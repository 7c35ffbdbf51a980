/*
 * soapReply.h -- the texts of answers: results and faults in their envelope, and the documents that
 * tell a service's version
 */
#pragma once

#include <string>
#include <string_view>

#include "tools/simulator/simulator.h"
#include "tools/simulator/soapRequest.h"

namespace simulator {

/* What differs between the services, told by their names in the documents. */
struct VersionNames {
    std::string nameSpace; /* "ozy25" */
    std::string version;   /* "6.0" */

    static VersionNames Of(const std::string &text); /* "ozy25/6.0" */
};

/* `inner` stands inside the "...Response" element. */
std::string ResultText(std::string_view nameSpace, std::string_view method, std::string_view inner,
                       std::string_view prefix = "soapenv");
std::string FaultText(std::string_view nameSpace, const Fault &fault, bool withDetail = true,
                      std::string_view prefix = "soapenv");

/* <returnval>...</returnval> of a result. */
std::string Returned(const Value &value, bool typed = false);

/* The body of the versions document; empty for Empty, Missing and MissingWithWsdl. */
std::string VersionsText(const VersionNames &names, VersionsForm form);
std::string WsdlText(const VersionNames &names);
std::string
WsdlTypesText(const VersionNames &names); /* what the WSDL imports; it describes no type */

/* Whether a version is the other one or a later one of its family; "5.0" has what "4.1" brought. */
bool VersionHas(const std::string &version, std::string_view other);

} // namespace simulator
