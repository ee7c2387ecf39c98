#pragma once
#include <functional>
#include <string>

// The host's log. Without the host, lines go to standard error, or to the file
// named by HC_LOG_FILE; tests may capture them with setLogSink.
void Log(const char* format, ...) __attribute__((format(printf, 1, 2)));
// The host's log and its console together; without the host, the one log.
void LogBoth(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Replaces where log lines go; an empty function restores the default.
void setLogSink(std::function<void(const std::string&)> sink);
