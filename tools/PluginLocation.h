#pragma once
#include <string>
#include <vector>

// Where cvtool looks for the plug-in, in order, when neither --plugin nor
// CV_PLUGIN names one: beside cvtool itself (a build tree, or a folder the
// two were copied to together), then the installed plug-in folder, found
// from cvtool's own folder so that a prefix moved elsewhere still works.
std::vector<std::string> pluginPlaces();

// The plug-in to load: `named` when given, else CV_PLUGIN, else the first of
// pluginPlaces() that exists. Empty with `error` set when none does.
std::string findPlugin(const std::string& named, std::string& error);
