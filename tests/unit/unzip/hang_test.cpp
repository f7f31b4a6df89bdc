// Archives that make a call never return, which is wanted. Each such call runs in a process of its own, which looks at
// itself by a timer of processor time: a call that burns time without making any Windows call is stuck.
#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

#include "tests/unit/unzip/extraction_fixture.h"

namespace unzip_tests {
namespace {

constexpr int kReturned = 10;
constexpr int kStuck = 11;
constexpr int kStillBusy = 12;
constexpr int kDidNotOpen = 13;
constexpr int kOtherThanExpected = 14;
constexpr suseconds_t kTickMicroseconds = 100'000;
constexpr int kMostTicks = 20;

tablet::Journal* watched = nullptr;
volatile std::size_t events_at_last_tick = 0;
volatile int ticks = 0;

/// Runs every 100 ms of processor time, in the middle of whatever the call under test does.
void Tick(int) {
  std::size_t const events = watched->events().size();
  ticks = ticks + 1;
  // Three ticks without an event: even a busy machine makes a call in 300 ms of its own processor time.
  static volatile int quiet = 0;
  quiet = events == events_at_last_tick ? quiet + 1 : 0;
  events_at_last_tick = events;
  if (quiet == 3) _exit(kStuck);
  if (ticks == kMostTicks) _exit(kStillBusy);
}

void Watch(tablet::Journal& journal) {
  watched = &journal;
  events_at_last_tick = journal.events().size();
  struct sigaction action = {};
  action.sa_handler = Tick;
  sigaction(SIGVTALRM, &action, nullptr);
  itimerval timer = {};
  timer.it_interval.tv_usec = kTickMicroseconds;
  timer.it_value.tv_usec = kTickMicroseconds;
  setitimer(ITIMER_VIRTUAL, &timer, nullptr);
}

/// The child's tablet. The scheduler belongs to the process that made it.
class TabletInChild : public testing_support::TabletTest {
 public:
  void TestBody() override {}
  using TabletTest::drive;
  using TabletTest::machine;
};

class HangTest : public testing::Test {
 protected:
  /// What became of a process that opens the archive, makes `before` true and then calls `call`.
  int Outcome(const Bytes& archive, const std::function<bool(ZipHandle*)>& before,
              const std::function<void(ZipHandle*)>& call) {
    pid_t const child = fork();
    if (child == 0) {
      ::setenv("TMPDIR", scratch_.path().c_str(), 1);
      auto* const tablet = new TabletInChild;  // never destroyed: the process ends at once
      tablet->drive().Put(kArchive, archive);
      ZipHandle* const handle = OpenZipFile(kArchive);
      if (handle == nullptr) _exit(kDidNotOpen);
      if (!before(handle)) _exit(kOtherThanExpected);
      Watch(tablet->machine().journal());
      call(handle);
      _exit(kReturned);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  static bool CanGet(ZipHandle* handle, INT index, DWORD expected = UNZIP_OK) {
    ZipEntry entry = {};
    return GetZipEntry(handle, index, entry) == expected;
  }
  static void Get(ZipHandle* handle, INT index) {
    ZipEntry entry = {};
    GetZipEntry(handle, index, entry);
  }

  ZipBuilder zip_;
  ScratchFolder scratch_;
};

void SpoilSignature(CentralHeader& header) { header.signature = 0; }

TEST_F(HangTest, AGoodArchiveReturns) {
  for (int i = 0; i < 3; ++i) zip_.Add("entry", ToBytes("x"));
  EXPECT_EQ(Outcome(
                zip_.Build(), [](ZipHandle*) { return true; }, [](ZipHandle* handle) { Get(handle, 2); }),
            kReturned);
}

TEST_F(HangTest, AnEntryBehindABadCentralHeaderIsNeverReached) {
  zip_.Add("a", ToBytes("x"));
  zip_.Add("b", ToBytes("x")).edit_central = SpoilSignature;
  zip_.Add("c", ToBytes("x"));
  auto const reaches_the_bad_one = [](ZipHandle* handle) { return CanGet(handle, 0) && CanGet(handle, 1); };
  EXPECT_EQ(Outcome(zip_.Build(), reaches_the_bad_one, [](ZipHandle* handle) { Get(handle, 2); }), kStuck);
  EXPECT_EQ(
      Outcome(zip_.Build(), reaches_the_bad_one, [](ZipHandle* handle) { (void)UnzipZipEntry(handle, 2, u"c:\\c"); }),
      kStuck);
}

TEST_F(HangTest, ABadFirstCentralHeaderHidesEveryOtherEntry) {
  zip_.Add("a", ToBytes("x")).edit_central = SpoilSignature;
  zip_.Add("b", ToBytes("x"));
  EXPECT_EQ(Outcome(
                zip_.Build(), [](ZipHandle* handle) { return CanGet(handle, -1) && CanGet(handle, 0); },
                [](ZipHandle* handle) { Get(handle, 1); }),
            kStuck);
}

TEST_F(HangTest, AnEndRecordThatClaimsTwoEntriesTooManyHangsAtTheSecondOne) {
  zip_.Add("a", ToBytes("x"));
  zip_.edit_end = [](EndRecord& end) { end.entries = end.entries_on_disk = 3; };
  auto const gets_the_first = [](ZipHandle* handle) {
    return CanGet(handle, 0) && CanGet(handle, 1, UNZIP_BAD_HEADER);
  };
  EXPECT_EQ(Outcome(zip_.Build(), gets_the_first, [](ZipHandle* handle) { Get(handle, 2); }), kStuck);
}

}  // namespace
}  // namespace unzip_tests
