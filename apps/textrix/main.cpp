// SPDX-License-Identifier: MIT
// textrix: applies a text service as a filter, keeps the settings, runs the provider on the
// session bus and sends it requests.
#include <clocale>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  std::vector<std::string_view> arguments(argv + 1, argv + argc);
  return textrix::command::run(arguments);
}
