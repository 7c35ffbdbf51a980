/* replyText.h -- the texts of replies, for benches */
#pragma once

#include <string>

#include <libxml/tree.h>

/* The reply to a method with what is inside its response element. */
inline std::string ReplyText(const std::string &method, const std::string &inner) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<soapenv:Envelope xmlns:soapenc=\"http://schemas.xmlsoap.org/soap/encoding/\"\n"
           " xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\"\n"
           " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"\n"
           " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n<soapenv:Body>\n<" +
           method + "Response xmlns=\"urn:ozy25\">" + inner + "</" + method +
           "Response>\n</soapenv:Body>\n</soapenv:Envelope>";
}

inline xmlNode *BodyOf(xmlNode *envelope) {
    for (xmlNode *node = envelope->children; node != nullptr; node = node->next) {
        if (xmlStrEqual(node->name, BAD_CAST "Body"))
            return node;
    }
    return nullptr;
}
