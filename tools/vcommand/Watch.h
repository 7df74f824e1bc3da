#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

/// Shows a text on the terminal that standard output is, and again after each interval and when the window changes, in
/// place, until the terminal or another process says to end (Ctrl-C, Ctrl-\, SIGTERM, SIGHUP); then, and while Ctrl-Z
/// stops it, what was on the terminal before is there again. `draw` makes the text for a number of columns; its lines
/// are cut to them, and of more than fit the last ones are counted only. What `draw` throws ends it as well; a
/// tools::CommandError when the terminal does not take the text.
void watch(std::chrono::seconds interval, const std::function<std::string(std::size_t width)>& draw);
