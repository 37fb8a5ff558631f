// HTTP delivery for chat webhooks, through libcurl.
#include "Alert.h"
#include "Version.h"

#include <curl/curl.h>

#include <memory>

namespace hvx::netsend {

namespace {

// A webhook that does not answer quickly is not going to: the alert must not hang around.
constexpr long kConnectTimeoutMs = 3000;
constexpr long kTotalTimeoutMs = 5000;

size_t discardResponse(char*, size_t size, size_t count, void*) {
    return size * count;
}

struct CurlDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

}  // namespace

Outcome deliverToWebhook(const QString& url, const Alert& alert) {
    std::unique_ptr<CURL, CurlDeleter> curl(curl_easy_init());
    if (!curl) {
        return {false, QStringLiteral("cannot start an HTTP client")};
    }
    const QByteArray address = url.toUtf8();
    const QByteArray body = webhookBody(alert);
    const QByteArray agent = QByteArrayLiteral("hvx-net-send/") + hvx::version::kText;
    // No "Expect: 100-continue" round trip: small bodies go at once.
    std::unique_ptr<curl_slist, CurlDeleter> headers(
        curl_slist_append(nullptr, "Content-Type: application/json; charset=utf-8"));
    headers.reset(curl_slist_append(headers.release(), "Expect:"));
    char errorText[CURL_ERROR_SIZE] = {};

    CURL* handle = curl.get();
    curl_easy_setopt(handle, CURLOPT_URL, address.constData());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.constData());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(handle, CURLOPT_USERAGENT, agent.constData());
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, kTotalTimeoutMs);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, discardResponse);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, errorText);

    const CURLcode result = curl_easy_perform(handle);
    if (result != CURLE_OK) {
        const QString detail = errorText[0] != '\0' ? QString::fromUtf8(errorText)
                                                    : QString::fromUtf8(curl_easy_strerror(result));
        return {false, url + QStringLiteral(": ") + detail};
    }
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (status < 200 || status > 299) {
        return {false,
                url + QStringLiteral(": the server answered HTTP ") + QString::number(status)};
    }
    return {true, {}};
}

}  // namespace hvx::netsend
