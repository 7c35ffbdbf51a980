// bench/bareCurl.cpp
#include "bench/bareCurl.h"

#include <algorithm>

#include <curl/curl.h>
#include <glib.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

size_t Keep(char *data, size_t size, size_t count, void *text) {
    static_cast<std::string *>(text)->append(data, size * count);
    return size * count;
}

/* Where libcurl's sockets are watched. */
struct Watches {
    CURLM *multi = nullptr;
    int events = -1;
};

int OnSocket(CURL *, curl_socket_t descriptor, int what, void *data, void *isKnown) {
    const auto *watches = static_cast<Watches *>(data);
    epoll_event event{};
    event.data.fd = descriptor;
    event.events = (what & CURL_POLL_IN ? unsigned(EPOLLIN) : 0) |
                   (what & CURL_POLL_OUT ? unsigned(EPOLLOUT) : 0);
    const int operation = what == CURL_POLL_REMOVE ? EPOLL_CTL_DEL
                          : isKnown                ? EPOLL_CTL_MOD
                                                   : EPOLL_CTL_ADD;
    epoll_ctl(watches->events, operation, descriptor, &event);
    if (operation == EPOLL_CTL_ADD)
        curl_multi_assign(watches->multi, descriptor, data);
    return 0;
}

int OnTimer(CURLM *, long timeoutMs, void *due) {
    *static_cast<gint64 *>(due) =
        timeoutMs < 0 ? -1 : g_get_monotonic_time() + gint64(timeoutMs) * 1000;
    return 0;
}

} // namespace

struct BareCurl::State {
    BareCurlOptions options;
    Watches watches;
    curl_slist *headers = nullptr;
    std::vector<CURL *> idle;
    std::vector<CURL *> all;
    gint64 due = -1; /* of libcurl's timer, in microseconds of the monotonic clock; -1 for none */
    long numToStart = 0;
    long numRunning = 0;

    CURL *MakeHandle();
    void Start();
    void Collect();
    void Wait();
};

CURL *BareCurl::State::MakeHandle() {
    CURL *handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, options.url.c_str());
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_POST, 1L);
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, options.body.c_str());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, long(options.body.size()));
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Keep);
    auto *text = new std::string;
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, text);
    curl_easy_setopt(handle, CURLOPT_PRIVATE, text);
    return handle;
}

void BareCurl::State::Start() {
    while (numToStart > 0 && !idle.empty()) {
        numToStart--;
        numRunning++;
        curl_multi_add_handle(watches.multi, idle.back());
        idle.pop_back();
    }
}

void BareCurl::State::Collect() {
    int numLeft = 0;
    while (const CURLMsg *message = curl_multi_info_read(watches.multi, &numLeft)) {
        CURL *handle = message->easy_handle;
        long status = 0;
        std::string *text = nullptr;
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
        curl_easy_getinfo(handle, CURLINFO_PRIVATE, &text);
        if (message->data.result != CURLE_OK || status != 200)
            g_error("bare post: %s, status %ld", curl_easy_strerror(message->data.result), status);
        text->clear();
        curl_multi_remove_handle(watches.multi, handle);
        idle.push_back(handle);
        numRunning--;
    }
    Start();
}

void BareCurl::State::Wait() {
    epoll_event ready[64];
    int wait = -1;
    if (due >= 0)
        wait = int(std::clamp<gint64>((due - g_get_monotonic_time() + 999) / 1000, 0, 1000));
    const int count = epoll_wait(watches.events, ready, 64, wait);
    int running = 0;
    for (int i = 0; i < count; i++) {
        const int what = (ready[i].events & EPOLLIN ? CURL_CSELECT_IN : 0) |
                         (ready[i].events & EPOLLOUT ? CURL_CSELECT_OUT : 0) |
                         (ready[i].events & (EPOLLERR | EPOLLHUP) ? CURL_CSELECT_ERR : 0);
        curl_multi_socket_action(watches.multi, ready[i].data.fd, what, &running);
    }
    if (due >= 0 && due <= g_get_monotonic_time()) {
        due = -1;
        curl_multi_socket_action(watches.multi, CURL_SOCKET_TIMEOUT, 0, &running);
    }
    Collect();
}

BareCurl::BareCurl(const BareCurlOptions &options) : state(std::make_unique<State>()) {
    state->options = options;
    state->watches.multi = curl_multi_init();
    state->watches.events = epoll_create1(EPOLL_CLOEXEC);
    curl_multi_setopt(state->watches.multi, CURLMOPT_SOCKETFUNCTION, OnSocket);
    curl_multi_setopt(state->watches.multi, CURLMOPT_SOCKETDATA, &state->watches);
    curl_multi_setopt(state->watches.multi, CURLMOPT_TIMERFUNCTION, OnTimer);
    curl_multi_setopt(state->watches.multi, CURLMOPT_TIMERDATA, &state->due);
    /* as many as are used; by itself libcurl closes some when few handles are left in the middle of a burst */
    curl_multi_setopt(state->watches.multi, CURLMOPT_MAXCONNECTS,
                      long(std::max(64, options.numInFlight)));
    for (const std::string &header : options.headers)
        state->headers = curl_slist_append(state->headers, header.c_str());
    for (int i = 0; i < options.numInFlight; i++)
        state->all.push_back(state->MakeHandle());
    state->idle = state->all;
}

BareCurl::~BareCurl() {
    for (CURL *handle : state->all) {
        std::string *text = nullptr;
        curl_easy_getinfo(handle, CURLINFO_PRIVATE, &text);
        delete text;
        curl_easy_cleanup(handle);
    }
    curl_multi_cleanup(state->watches.multi);
    curl_slist_free_all(state->headers);
    close(state->watches.events);
}

double BareCurl::Post(long count) {
    const double start = ThreadSeconds();
    state->numToStart = count;
    state->Start();
    while (state->numRunning > 0)
        state->Wait();
    return ThreadSeconds() - start;
}

double ThreadSeconds() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    const auto seconds = [](const timeval &time) {
        return double(time.tv_sec) + double(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}
