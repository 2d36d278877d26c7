// OpenCV.
#include <opencv2/core.hpp>
#include <opencv2/core/ocl.hpp>
#include <opencv2/imgproc.hpp>

#include "Peers.h"

namespace bench {

namespace {

using cv::Mat;

Mat bytesOf(const Image& image) { return Mat(image.height, image.width, CV_8UC4, image.words); }
Mat wordsOf(const Image& image) { return Mat(image.height, image.width, CV_32SC1, image.words); }

PeerCall writing(const Job& job, std::function<void()> run) {
  return {std::move(run), job.target.words};
}

PeerCall bitwiseNot(const Job& job) {
  return writing(
      job, [a = bytesOf(job.first), d = bytesOf(job.target)]() mutable { cv::bitwise_not(a, d); });
}

PeerCall convertTo(const Job& job) {
  return writing(job, [a = bytesOf(job.first), d = bytesOf(job.target), scale = job.scale,
                       offset = job.offset]() mutable { a.convertTo(d, -1, scale, offset); });
}

PeerCall transform(const Job& job) {
  Mat matrix = Mat::zeros(4, 5, CV_32F);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 4; ++j) {
      matrix.at<float>(i, j == 3 ? 4 : j) = static_cast<float>(job.matrix[i][j]);
    }
  }
  matrix.at<float>(3, 3) = 1;
  return writing(job, [=, a = bytesOf(job.first), d = bytesOf(job.target)]() mutable {
    cv::transform(a, d, matrix);
  });
}

// What its vector code is made for: three channels.
PeerCall transformPacked(const Job& job) {
  Mat matrix(3, 4, CV_32F);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 4; ++j) {
      matrix.at<float>(2 - i, j == 3 ? 3 : 2 - j) = static_cast<float>(job.matrix[i][j]);
    }
  }
  auto target = std::make_shared<std::vector<uint8_t>>(job.first.count() * 3);
  auto source = std::make_shared<std::vector<uint8_t>>(job.triples);
  Mat a(job.first.height, job.first.width, CV_8UC3, source->data());
  Mat d(job.first.height, job.first.width, CV_8UC3, target->data());
  return {[=]() mutable {
    cv::transform(a, d, matrix);
    keep(source.get());
    keep(target.get());
  }};
}

PeerCall lookUp(const Job& job) {
  Mat table(1, 256, CV_8UC4);
  for (int i = 0; i < 256; ++i) {
    table.at<cv::Vec4b>(i) =
        cv::Vec4b(job.tables[0][i], job.tables[1][i], job.tables[2][i], static_cast<uint8_t>(i));
  }
  return writing(job, [=, a = bytesOf(job.first), d = bytesOf(job.target)]() mutable {
    cv::LUT(a, table, d);
  });
}

PeerCall histograms(const Job& job) {
  return {[a = bytesOf(job.first)] {
    const float range[] = {0, 256};
    const float* ranges = range;
    const int size = 256;
    for (int channel = 0; channel < 3; ++channel) {
      Mat histogram;
      cv::calcHist(&a, 1, &channel, Mat(), histogram, 1, &size, &ranges);
      keep(histogram.at<float>(7));
    }
  }};
}

PeerCall countWords(const Job& job) {
  const int wanted = static_cast<int>(0xFF000000 | job.color);
  return {[=, a = wordsOf(job.first), mask = Mat()]() mutable {
    cv::compare(a, wanted, mask, cv::CMP_EQ);
    keep(cv::countNonZero(mask));
  }};
}

PeerCall mixThree(const Job& job) {
  return writing(job, [a = bytesOf(job.first), b = bytesOf(job.second), c = bytesOf(job.third),
                       d = bytesOf(job.target)]() mutable {
    const Mat sources[] = {a, b, c};
    // Red of the first, blue of the second, green of the third.
    const int pairs[] = {2, 2, 4, 0, 9, 1, 3, 3};
    cv::mixChannels(sources, 3, &d, 1, pairs, 4);
  });
}

PeerCall mixRed(const Job& job) {
  return writing(
      job, [a = bytesOf(job.first), b = bytesOf(job.second), d = bytesOf(job.target)]() mutable {
        const int red[] = {2, 2};
        a.copyTo(d);
        cv::mixChannels(&b, 1, &d, 1, red, 1);
      });
}

PeerCall maximum(const Job& job) {
  return writing(job, [a = bytesOf(job.first), b = bytesOf(job.second),
                       d = bytesOf(job.target)]() mutable { cv::max(a, b, d); });
}

PeerCall matchTemplate(const Job& job) {
  return {[hay = bytesOf(job.first), needle = bytesOf(job.needle), result = Mat()]() mutable {
    cv::Point at;
    cv::matchTemplate(hay, needle, result, cv::TM_SQDIFF);
    cv::minMaxLoc(result, nullptr, nullptr, &at, nullptr);
    keep(at.x);
  }};
}

PeerCall copyRows(const Job& job) {
  return writing(job, [a = bytesOf(job.first), d = bytesOf(job.target), by = job.scrollBy] {
    a.rowRange(0, a.rows - by).copyTo(d.rowRange(by, a.rows));
    a.rowRange(a.rows - by, a.rows).copyTo(d.rowRange(0, by));
  });
}

PeerCall copyColumns(const Job& job) {
  return writing(job, [a = bytesOf(job.first), d = bytesOf(job.target), by = job.scrollBy] {
    a.colRange(0, a.cols - by).copyTo(d.colRange(by, a.cols));
    a.colRange(a.cols - by, a.cols).copyTo(d.colRange(0, by));
  });
}

PeerCall contours(const Job& job) {
  return {[a = wordsOf(job.first), mask = Mat()]() mutable {
    cv::compare(a, -1, mask, cv::CMP_NE);
    std::vector<std::vector<cv::Point>> found;
    cv::findContours(mask, found, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    for (const auto& contour : found) keep(cv::boundingRect(contour).width);
  }};
}

constexpr Peer kPeers[] = {
    {"OpenCV bitwise_not", bitwiseNot},
    {"OpenCV convertTo", convertTo},
    {"OpenCV transform", transform},
    {"OpenCV transform, 3 channels", transformPacked},
    {"OpenCV LUT", lookUp},
    {"OpenCV calcHist", histograms},
    {"OpenCV compare, countNonZero", countWords},
    {"OpenCV mixChannels", mixThree},
    {"OpenCV copyTo, mixChannels", mixRed},
    {"OpenCV max", maximum},
    {"OpenCV matchTemplate", matchTemplate},
    {"OpenCV copyTo of two row ranges", copyRows},
    {"OpenCV copyTo of two column ranges", copyColumns},
    {"OpenCV compare, findContours", contours},
};

}  // namespace

std::span<const Peer> openCvPeers() {
  cv::setNumThreads(1);
  cv::ocl::setUseOpenCL(false);
  return kPeers;
}

}  // namespace bench
