// SPDX-License-Identifier: Apache-2.0
// Owns the precompiled header of the tests; not a test.
int main() {
  return 0;
}
