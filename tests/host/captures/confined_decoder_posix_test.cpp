#include "captures/confined_decoder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "base/error.h"
#include "captures/decoder_answer.h"
#include "support/program.h"

namespace cali::test {
namespace {

using namespace host;

constexpr Confinement kShort = {uint64_t{1} << 28U, 1};

void decode_empty_file(FileFrame& frame, const std::function<void(FileFrame&)>& decode,
                       const Confinement& limits = kDecoderLimits) {
    FileContent nothing(0);
    const Geometry untold;
    frame.capture.file = "a.dng";
    decode_confined(
        frame, {nothing, 0, untold}, [&](FileFrame& decoded, const EncodedFrame& /*empty*/) { decode(decoded); },
        limits);
}

std::string end_of(const std::function<void(FileFrame&)>& decode) {
    FileFrame frame;
    try {
        decode_empty_file(frame, decode, kShort);
    } catch (const InputError& problem) {
        return problem.what();
    }
    return "decoded";
}

TEST(ConfinedDecoder, GivesWhatTheCopyDecodes) {
    FileFrame frame;
    decode_empty_file(frame, [](FileFrame& decoded) {
        decoded.capture.sensor = {1000, 700, 2, 14, 16000, true};
        decoded.capture.metadata.black_level = {1.5, 2, 3, 4};
        decoded.codes = Codes(700000);
        decoded.codes[699999] = 4711;
        decoded.capture.file = "another";
    });
    EXPECT_EQ(to_text(frame.capture.sensor), "1000 x 700, MONO, 14 bits");
    EXPECT_EQ(frame.capture.sensor.white_level, 16000);
    EXPECT_EQ((*frame.capture.metadata.black_level)[0], 1.5);
    EXPECT_FALSE(frame.capture.metadata.gain.has_value());
    ASSERT_EQ(frame.codes.size(), 700000U);
    EXPECT_EQ(frame.codes[699999], 4711);
    EXPECT_EQ(frame.capture.file, "a.dng");
}

TEST(ConfinedDecoder, SaysWhatBecameOfTheCopy) {
    EXPECT_EQ(end_of([](FileFrame&) { throw InputError("a.dng: is no DNG"); }), "a.dng: is no DNG");
    EXPECT_EQ(end_of([](FileFrame&) { std::raise(SIGSEGV); }),
              "a.dng: cannot be read: its decoder was ended by signal 11 (Segmentation fault)");
    EXPECT_EQ(end_of([](FileFrame&) { ::_exit(3); }), "a.dng: cannot be read: its decoder ended with status 3");
    EXPECT_EQ(end_of([](FileFrame&) { throw 5; }), "a.dng: cannot be read: its decoder ended with status 1");
    EXPECT_EQ(end_of([](FileFrame&) {
                  for (volatile bool forever = true; forever;) {
                  }
              }),
              "a.dng: cannot be read: its decoder was ended by signal 9 (Killed)");
    EXPECT_EQ(end_of([](FileFrame& frame) {
                  frame.capture.sensor = {4, 2, 0, 12, std::nullopt, false};
                  frame.codes = Codes(7);
              }),
              "a.dng: cannot be read: its decoder gives what is no frame");
    EXPECT_EQ(end_of([](FileFrame& frame) { frame.codes = Codes(std::size_t{1} << 28U); }),
              "a.dng: decoding it takes more than 256 MB");
    // A hostile file may speak for the process.
    FileContent nothing(0);
    const Geometry untold;
    FileFrame frame;
    const auto noise = [](std::span<uint8_t> memory) { return std::ranges::fill(memory, 0x7F) == memory.end(); };
    EXPECT_EQ(refusal([&] {
                  take_answer(frame, {nothing, 0, untold}, kShort, noise, [] { return std::string(); });
              }),
              ": cannot be read: its decoder gives what is no frame");
}

TEST(ConfinedDecoder, ReachesNothingButItsMemory) {
    const TemporaryFolder folder;
    const std::string file = (folder / "kept").string();
    std::ofstream(file) << "kept";
    const int any = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    const int open_file = ::fcntl(any, F_DUPFD_CLOEXEC, 100);  // a number that the pipe does not get
    EXPECT_EQ(end_of([&](FileFrame& frame) {
                  const auto require = [](bool holds, const char* what) {
                      if (!holds) {
                          throw InputError(what);
                      }
                  };
                  char byte = 0;
                  require(::open(file.c_str(), O_RDONLY) < 0, "opens");
                  require(::open((file + "2").c_str(), O_CREAT | O_WRONLY, 0600) < 0, "creates");
                  require(::unlink(file.c_str()) < 0 && ::rename(file.c_str(), "other") < 0, "removes");
                  require(::read(open_file, &byte, 1) < 0 && ::write(open_file, "x", 1) < 0, "keeps what was open");
                  require(::socket(AF_INET, SOCK_STREAM, 0) < 0, "connects");
                  require(::fork() < 0, "copies itself");
                  require(::kill(::getppid(), 0) < 0, "sends signals");
                  bool ran = false;
                  std::thread([&] { ran = true; }).join();  // decoders may have some
                  require(ran, "has no threads");
                  frame.capture.sensor = {1, 1, 0, 12, std::nullopt, false};
                  frame.codes = Codes(1);
              }),
              "decoded");
    ::close(open_file);
    ::close(any);
    EXPECT_EQ(std::filesystem::file_size(file), 4U);
}

}  // namespace
}  // namespace cali::test
