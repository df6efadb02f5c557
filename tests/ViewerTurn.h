// Tests that act as a viewer take turns: there is one presence event on the machine.
#pragma once

#include <gtest/gtest.h>

#include "platform/OwnedHandle.h"

// Holds the turn for its lifetime. A test that dies with it hands it on.
class ViewerTurn {
public:
    ViewerTurn() { EXPECT_NE(WaitForSingleObject(m_turn.get(), 120000), WAIT_TIMEOUT); }
    ~ViewerTurn() { ReleaseMutex(m_turn.get()); }

private:
    OwnedHandle m_turn{CreateMutexW(nullptr, FALSE, WIDE("Global\\FENWICKEL_TEST_VIEWER"))};
};
