// A sound server of the test's own, which PULSE_SERVER names until it is destroyed.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace Vimbrel::test {

enum class SoundServerKind { pulse_audio, pipe_wire };
void PrintTo(SoundServerKind kind, std::ostream* out);

// Its devices are the sinks "speakers" (described as Speakers) and "micin", and the source
// "microphone" (described as Microphone), which hears what is played into micin. Without hardware
// and without rewinds, so that what is played is recorded bit by bit.
class SoundServer {
public:
    // A server that does not come up fails the test.
    explicit SoundServer(SoundServerKind kind);
    ~SoundServer();
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;

    // `command` of pactl, with its output.
    std::string Control(const std::string& command) const;
    // The identifier by which a module is unloaded.
    std::string LoadModule(const std::string& module) const;
    // Plays 16-bit stereo, until its end or that of the result.
    std::unique_ptr<ChildProcess> Play(const std::string& sink,
                                       const std::vector<std::int16_t>& samples,
                                       unsigned frames_per_second = 44'100);

    // At once, as if it had crashed.
    void Kill();
    // Kills it, and starts it anew where it was.
    void Restart();
    // A frozen server keeps its connections but serves none.
    void Freeze() const;
    void Thaw() const;

private:
    void Serve();
    void LoadDevices() const;
    void AwaitAnswer() const;
    void AwaitDevices() const;
    void StartPulseAudio();
    void StartPipeWire();
    std::unique_ptr<ChildProcess> Start(const std::vector<std::string>& command) const;

    const SoundServerKind kind;
    TempFolder folder;
    std::string socket;
    std::string server_before;
    int played = 0;
    // In the order of their start; the last one serves the socket.
    std::vector<std::unique_ptr<ChildProcess>> processes;
};

}  // namespace Vimbrel::test
