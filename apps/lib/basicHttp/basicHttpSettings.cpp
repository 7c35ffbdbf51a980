// Settings of a request, made between its creation and its sending.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include "lib/misc/log.h"
#include "lib/misc/panic.h"

namespace {

std::string TextOrEmpty(const char *text) {
    return text ? text : "";
}

std::optional<std::string> OptionalText(const char *text) {
    return text ? std::optional<std::string>(text) : std::nullopt;
}

} // namespace

void BasicHttp_SetUserAgent(BasicHttpRequest *request, const char *text) {
    if (text && BasicHttpHasLineBreak(text)) {
        Warning("BasicHTTP: A user agent with a line break is refused.\n");
        return;
    }
    request->settings.userAgent = text ? text : kBasicHttpUserAgent;
}

void BasicHttp_SetNoProxy(BasicHttpRequest *request, const char *text) {
    request->settings.noProxy = OptionalText(text);
}

void BasicHttp_SetSslCrlFilePath(BasicHttpRequest *request, const char *file) {
    request->settings.sslCrlFile = TextOrEmpty(file);
}

void BasicHttp_SetSslManualVerification(BasicHttpRequest *request, gboolean value) {
    request->settings.sslManualVerification = value;
}

void BasicHttp_SetSslCtxProc(BasicHttpRequest *request, BasicHttpSslCtxProc proc) {
    request->settings.sslCtxProc = proc;
}

void BasicHttp_SetSslAuthorities(BasicHttpRequest *request, const char *sslCAInfo,
                                 const char *sslCAPath) {
    request->settings.sslCAInfo = TextOrEmpty(sslCAInfo);
    request->settings.sslCAPath = TextOrEmpty(sslCAPath);
}

void BasicHttp_SetSslVerification(BasicHttpRequest *request, gboolean value) {
    request->settings.sslVerification = value;
}

void BasicHttp_SetConnectedProc(BasicHttpRequest *request, BasicHttpConnectedProc proc) {
    request->settings.connectedProc = proc;
}

void BasicHttp_SetStrict(BasicHttpRequest *request, gboolean value) {
    request->settings.isStrict = value;
}

void BasicHttp_SetRepeatable(BasicHttpRequest *request, gboolean value) {
    request->settings.isRepeatable = value;
}

void BasicHttp_SetFreshConnection(BasicHttpRequest *request) {
    request->settings.freshConnection = true;
}

void BasicHttp_ForbidReuse(BasicHttpRequest *request) {
    request->settings.forbidReuse = true;
}

void BasicHttp_SetDetectDeadPeer(BasicHttpRequest *request) {
    request->settings.detectsDeadPeer = true;
}

void BasicHttp_SetConnectTimeout(BasicHttpRequest *request, guint seconds) {
    request->settings.connectTimeout = seconds;
}

void BasicHttp_DisableConnectionTimeoutWorkaround(BasicHttpRequest *request) {
    request->settings.connectionTimeoutWorkaround = false;
}

void BasicHttp_SetProxy(BasicHttpRequest *request, const char *proxy, gint type) {
    request->settings.proxy = OptionalText(type == BASICHTTP_PROXY_NONE ? "" : proxy);
    request->settings.proxyType = type;
    request->settings.proxyAuth = 0;
    request->settings.proxyUserName.clear();
    request->settings.proxyPassword.reset();
}

void BasicHttp_SetRequestNameAndPassword(BasicHttpRequest *request, gint authType, const char *name,
                                         const char *password) {
    if (authType < 0)
        return;
    const bool isWhole = name && password;
    request->settings.authType = authType;
    request->settings.userName = isWhole ? name : "";
    request->settings.userPassword = SecretText(isWhole ? g_strdup(password) : nullptr);
}

void BasicHttp_SetInactivityTimeout(BasicHttpRequest *request, gint kind, guint seconds) {
    if (request->state != BASICHTTP_STATE_IDLE)
        return;
    switch (kind) {
    case BASICHTTP_TIMEOUT_SENDING:
        request->settings.inactivityTimeoutSending = seconds;
        return;
    case BASICHTTP_TIMEOUT_SENT:
        request->settings.inactivityTimeoutSent = seconds;
        return;
    case BASICHTTP_TIMEOUT_RECEIVING:
        request->settings.inactivityTimeoutReceiving = seconds;
        return;
    }
    NOT_IMPLEMENTED();
}
