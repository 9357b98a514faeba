// SPDX-License-Identifier: MIT
// A C++ program that does nothing: what is left is what its loading costs.
int main() {}
