// Blocks that the program's own code took from malloc and has not given back, looked at around each test:
// what a test leaves is a failure of that test. Not what libraries take, nor operator new. The sanitizer
// builds have a leak check of their own, which also tells from where.
#pragma once

namespace test {

// Blocks of the program that live.
int LiveBlocks();

// For the test that runs: so many blocks are left by design.
void LeavesBlocks(int count);

}  // namespace test
