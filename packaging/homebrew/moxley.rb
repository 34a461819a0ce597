# Homebrew formula for a tap (`brew tap OWNER/moxley`, then `brew install moxley`): the moxley tool
# with its man page and bash, zsh and fish completions, and Moxley.app in the keg.
# Not tested: nothing here runs macOS or Homebrew. At each release, `url` and `sha256` are set to the
# release's source archive (`brew create`/`brew bump-formula-pr` do that).
class Moxley < Formula
  desc "Schedule your own shell commands as launchd jobs"
  homepage "https://moxley.app"
  url "https://moxley.app/releases/moxley-0.1.0.tar.gz"
  sha256 "0000000000000000000000000000000000000000000000000000000000000000"
  head "https://moxley.app/moxley.git", branch: "main"

  depends_on "cmake" => :build
  depends_on "ninja" => :build
  depends_on "pkg-config" => :build
  depends_on "python@3.12" => :build
  depends_on "libplist"
  depends_on :macos
  depends_on "qt"
  depends_on "qtkeychain"

  def install
    system "cmake", "-S", ".", "-B", "build", "-G", "Ninja",
           "-DMOXLEY_BUILD_TESTS=OFF", "-DMOXLEY_WERROR=OFF",
           "-DPython3_EXECUTABLE=#{Formula["python@3.12"].opt_bin}/python3.12", *std_cmake_args
    system "cmake", "--build", "build"
    # bin/moxley, share/man/man1/moxley.1, the completions where Homebrew's shells look, Moxley.app.
    system "cmake", "--install", "build"
  end

  def caveats
    <<~EOS
      The app was installed as #{opt_prefix}/Moxley.app. To have it in Applications:
        ln -s #{opt_prefix}/Moxley.app /Applications/Moxley.app
    EOS
  end

  test do
    assert_equal "moxley #{version}", shell_output("#{bin}/moxley --version").strip
    assert_match "list", shell_output("#{bin}/moxley --help")
    assert_predicate man1/"moxley.1", :exist?
  end
end
