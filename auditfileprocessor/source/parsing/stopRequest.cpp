#include "stopRequest.h"

#include <csignal>

namespace {

// Written only by the signal handler; read by the loading loop.
volatile std::sig_atomic_t g_stopSignal = 0;

struct sigaction g_previousTerm;
struct sigaction g_previousInt;

extern "C" void RequestStop(int signal) {
    g_stopSignal = signal;
}

}  // namespace

StopRequest::Guard::Guard() {
    struct sigaction action {};
    action.sa_handler = RequestStop;
    sigemptyset(&action.sa_mask);
    // Once the first signal is taken, the default action comes back, so that
    // a second one ends a run that does not stop quickly enough.
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGTERM, &action, &g_previousTerm);
    sigaction(SIGINT, &action, &g_previousInt);
}

StopRequest::Guard::~Guard() {
    sigaction(SIGTERM, &g_previousTerm, nullptr);
    sigaction(SIGINT, &g_previousInt, nullptr);
}

bool StopRequest::Requested() {
    return g_stopSignal != 0;
}

const char* StopRequest::SignalName() {
    switch (g_stopSignal) {
        case SIGTERM:
            return "SIGTERM";
        case SIGINT:
            return "SIGINT";
        default:
            return "";
    }
}

void StopRequest::Clear() {
    g_stopSignal = 0;
}
