#pragma once
#include <string>

// The plug-in writes its log through the host's Log, which without the host
// appends each line to the file named by HC_LOG_FILE, or to standard error.
// While a capture lives, the plug-in's lines go to a file in memory instead,
// so that cvtool can tell them once, in their place, or leave them out (a
// retried open says the same thing twice).
class PluginLogCapture {
public:
    PluginLogCapture();
    ~PluginLogCapture();
    PluginLogCapture(const PluginLogCapture&) = delete;
    PluginLogCapture& operator=(const PluginLogCapture&) = delete;

    // Ends the capture and gives what the plug-in logged meanwhile.
    std::string take();
    // Ends the capture and hands the lines on to where they would have gone.
    void passOn();

private:
    int m_file = -1;
    bool m_hadDestination = false;
    std::string m_destination;
};
