// What most tests say about texts and lists, without the namespace. For tests only: the names are global.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
