// A request to stop the run, made by SIGTERM or SIGINT: the loader finishes
// the line in hand, rolls back its open batch and puts the file back, instead
// of dying in the middle of it. A second signal ends the process at once.
//   StopRequest::Guard guard;               // handlers installed while loading
//   if (StopRequest::Requested()) { ... }   // checked before every line
#pragma once

class StopRequest {
  public:
    // Installs the handlers for its lifetime and restores the old ones after.
    class Guard {
      public:
        Guard();
        ~Guard();
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;
    };

    static bool Requested();
    // "SIGTERM" or "SIGINT"; empty while no stop was requested.
    static const char* SignalName();
    // Forgets a request (for tests, which run several loads in one process).
    static void Clear();
};
