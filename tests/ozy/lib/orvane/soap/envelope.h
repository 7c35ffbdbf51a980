/*
 * envelope.h -- what is around each request and each reply
 *
 *   EXPECT_EQ(Envelope("<Login xmlns=\"urn:ozy25\">...</Login>"), text);
 */
#pragma once

#include <string>

constexpr const char *kEnvelopeHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<soapenv:Envelope xmlns:soapenc=\"http://schemas.xmlsoap.org/soap/encoding/\"\n"
    " xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\"\n"
    " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"\n"
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
    "<soapenv:Body>\n";
constexpr const char *kEnvelopeTail = "\n</soapenv:Body>\n</soapenv:Envelope>";

inline std::string Envelope(const std::string &inner) {
    return kEnvelopeHead + inner + kEnvelopeTail;
}

/* A reply to a method. */
inline std::string ResponseText(const std::string &method, const std::string &result) {
    return Envelope("<" + method + "Response xmlns=\"urn:ozy25\">" + result + "</" + method +
                    "Response>");
}
