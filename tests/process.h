#pragma once

#include <sys/types.h>

#include <functional>
#include <iosfwd>
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

/// The kind of the service's streams. With `terminal`, the two outputs are terminals in raw mode
/// and the input is a pipe.
enum class StreamKind { pipe, nonBlockingPipe, socket, terminal };

/// How the names of tests show the kind.
void PrintTo(StreamKind kind, std::ostream* out);

/// What one read gives, however little.
std::string readPiece(int fd, std::size_t most);

/// Reads `most` bytes; fewer at the end of the stream or, with `stopsAtLine`, after a line feed.
std::string readFrom(int fd, std::size_t most = std::string::npos, bool stopsAtLine = false);

/// How to start the service.
struct Launch {
  std::string script = "";  ///< the backend, for the shell unless it begins with "#!"
  std::vector<std::string> arguments = {};
  Environment environment = {};  ///< besides the launch token
  StreamKind streams = StreamKind::pipe;
  std::string setUp = "";  ///< for the shell that then becomes the service: odd conditions
  std::string executable = SERVICE_PATH;
};

/// The service as a host runs it, with its three streams. Every wait has a deadline that ends the
/// test. At the end whatever still runs is killed: the service, backends and what they started.
class Service {
 public:
  explicit Service(const Launch& launch = {});
  ~Service();

  /// The path of the script, or of a file beside it with this ending.
  [[nodiscard]] std::string script(const std::string& ending = "") const;

  /// Fails silently when the service no longer reads.
  void write(std::string_view bytes) const;
  void closeInput() { input_.reset(); }
  void closeOutput() { output_.reset(); }

  /// The next bytes of standard output, or of standard error, are these. In errors, $0 stands for
  /// the path of the script.
  void expect(std::string_view output);
  void expectErrors(const std::string& errors);
  /// After the end of the input: all that is left of the two, and the exit status, or the negated
  /// number of the signal that ended the service.
  void expectEnd(std::string_view output, const std::string& errors = "", int status = 0);

  /// Up to and including the next line feed, or to the end.
  std::string readLine() { return readFrom(outputFd(), std::string::npos, true); }
  std::string readErrorLine() { return readFrom(errorsFd(), std::string::npos, true); }
  /// What is left of standard output until every writer has closed it.
  std::string readRest() { return readFrom(outputFd()); }
  std::string readErrors() { return readFrom(errorsFd()); }

  /// Waits for the end: the status as above.
  int wait();

  [[nodiscard]] int outputFd() const { return output_.get(); }
  [[nodiscard]] int errorsFd() const { return errors_.get(); }
  [[nodiscard]] pid_t pid() const { return pid_; }

 private:
  [[nodiscard]] std::string withPath(const std::string& errors) const;

  TemporaryDirectory directory_;
  Fd input_;
  Fd output_;
  Fd errors_;
  pid_t group_ = -1;
  pid_t pid_ = -1;
};

/// Bytes that wait in a pipe or socket, asked at its read end.
int bytesIn(int readEnd);

/// Waits until `holds` is true, looking again and again; false when the deadline passes first.
bool eventually(const std::function<bool()>& holds);

}  // namespace ferncrest::testing
