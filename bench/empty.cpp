// SPDX-License-Identifier: MIT
// A C++ program that does nothing: all it costs is to load it.
int main() {}
