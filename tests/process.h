#pragma once

#include <sys/types.h>

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/fd.h"
#include "platform/process.h"

namespace ferncrest::testing {

/// A directory of the test's own that goes away with everything in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  [[nodiscard]] std::string path(std::string_view name = "") const;
  /// Writes a file with these permissions and returns its path.
  [[nodiscard]] std::string file(std::string_view name, std::string_view content,
                                 mode_t mode = 0600) const;

 private:
  std::string directory_;
};

/// What a host may give the service for streams. A terminal is in raw mode, and input is a pipe
/// then.
enum class StreamKind { pipe, nonBlockingPipe, socket, terminal };

/// The service as a host runs it, with its three streams. Every wait has a deadline that ends the
/// test; a service that still runs at the end is killed.
class Service {
 public:
  struct Launch {
    std::string script = "";  ///< for the shell, as the backend; none without one
    std::vector<std::string> arguments = {};
    Environment environment = {};  ///< besides the launch token
    StreamKind streams = StreamKind::pipe;
    bool keepsStreams =
        false;  ///< the service's ends too, so that none of them ever breaks or ends
    std::function<void()> inChild = {};  ///< odd conditions to set before the program starts
    bool authorized = true;
    std::string executable = SERVICE_PATH;
  };

  Service() : Service(Launch{}) {}
  explicit Service(const Launch& launch);
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;
  ~Service();

  /// The path of the script, or of a file beside it with this ending.
  [[nodiscard]] std::string script(const std::string& ending = "") const;

  /// Fails silently when the service no longer reads.
  void write(std::string_view bytes) const;
  void closeInput() { input_.reset(); }
  void closeOutput() { output_.fd.reset(); }

  /// The next bytes of standard output, or of standard error, are these.
  void expect(std::string_view output) { expect(output_, output); }
  void expectErrors(std::string_view errors) { expect(errors_, errors); }
  /// After the end of the input: all that is left of the two, and the exit status, or the negated
  /// number of the signal that ended the service.
  void expectEnd(std::string_view output, std::string_view errors = "", int status = 0);

  /// Up to and including the next line feed, or to the end.
  std::string readLine() { return readLine(output_); }
  std::string readErrorLine() { return readLine(errors_); }
  /// What is left of standard output until every writer has closed it.
  std::string readRest() { return readRest(output_); }
  std::string readErrors() { return readRest(errors_); }
  /// What one read gives, however little.
  std::string readPiece(std::size_t most, bool ofErrors = false);

  /// Waits for the end: the status as above.
  int wait();
  /// After the end: the processor time that the service used, in seconds.
  [[nodiscard]] double processorSeconds() const { return processorSeconds_; }

  /// Where they are kept, the service's ends.
  [[nodiscard]] int kept(int stream) const {
    return kept_.at(static_cast<std::size_t>(stream)).get();
  }
  [[nodiscard]] int outputFd() const { return output_.fd.get(); }
  [[nodiscard]] int errorsFd() const { return errors_.fd.get(); }
  [[nodiscard]] pid_t pid() const { return pid_; }

 private:
  // A stream of the service, with what was read of it but not yet asked for.
  struct Stream {
    Fd fd;
    std::string ahead = "";

    bool readMore();
    std::string take(std::size_t count);
  };

  static std::string readLine(Stream& stream);
  static std::string readRest(Stream& stream);
  static void expect(Stream& stream, std::string_view bytes);

  TemporaryDirectory directory_;
  Fd input_;
  std::array<Fd, 3> kept_;
  Stream output_;
  Stream errors_;
  pid_t pid_ = -1;
  double processorSeconds_ = 0;
};

/// Bytes that wait in a pipe or socket, asked at its read end.
int bytesIn(int readEnd);

/// Waits until `holds` is true, looking again and again; false when the deadline passes first.
bool eventually(const std::function<bool()>& holds);

}  // namespace ferncrest::testing
