// The load entry on Windows: the library turns off the loader's thread attach
// and detach notifications for itself.
#include "binding_test_support.h"

using namespace bindingtest;

TEST(BindingLoadEntry, TurnsOffThreadNotificationsForTheLibrary)
{
    // The fake renderer module never asks: the flag read here is the loader's
    // record for each module, not one that every module shows.
    EXPECT_FALSE(thread_notifications_off(fake_module(1)));
    EXPECT_TRUE(thread_notifications_off(library()));
}
