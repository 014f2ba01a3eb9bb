# Builds the checkout that this file lies in. A tap that serves a released version replaces `url` by the address
# of the release's archive and its checksum.
class WyvletMcp < Formula
  desc "Eyes and hands on a mobile app for an AI coding agent"
  url "file://#{File.expand_path("../..", __dir__)}", using: :git, branch: "main"
  version "1.0.0"

  depends_on "boost" => :build
  depends_on "cmake" => :build
  depends_on "ninja" => :build
  depends_on "pkgconf" => :build
  depends_on "fmt"
  depends_on "libspng"
  depends_on "re2"
  depends_on "utf8proc"

  def install
    system "cmake", "-S", ".", "-B", "build", "-G", "Ninja", "-DWYVLET_BUILD_TESTS=OFF", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
  end

  def caveats
    <<~EOS
      Check the installation with:
        WyvletMCP --doctor
      The page for people is at #{opt_share}/wyvlet/inspector.html
    EOS
  end

  test do
    assert_match "WyvletMCP #{version}", shell_output("#{bin}/WyvletMCP --version")
    assert_match "unknown argument", shell_output("#{bin}/WyvletMCP --nonsense 2>&1", 2)
  end
end
