#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "bench/Bench.h"

namespace kestrel::bench {
namespace {

void AddOpenCv() {
    cv::setNumThreads(1);
    const Dib* dib = BenchPicture();
    // The picture's own rows; the library only reads them.
    const cv::Mat picture(dib->biHeight, dib->biWidth, CV_8UC3, const_cast<std::uint8_t*>(DibRow(dib, 0)),
                          DibRowSize(dib));
    const auto out = std::make_shared<cv::Mat>();

    Add(
        "OpenCV/bitwise_not", [=] { cv::bitwise_not(picture, *out); }, "filter/Invert");
    Add(
        "OpenCV/cvtColor grey", [=] { cv::cvtColor(picture, *out, cv::COLOR_BGR2GRAY); }, "filter/BlackWhiteness");
    cv::Mat table(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) table.at<std::uint8_t>(i) = static_cast<std::uint8_t>(255 - i / 2);
    Add(
        "OpenCV/LUT", [=] { cv::LUT(picture, table, *out); }, "filter/GradCurves");
    const cv::Mat blur = (cv::Mat_<float>(3, 3) << 1, 2, 1, 2, 4, 2, 1, 2, 1) / 16;
    Add(
        "OpenCV/filter2D 3x3", [=] { cv::filter2D(picture, *out, -1, blur); }, "filter/Blur");
    const cv::Mat sharp = (cv::Mat_<float>(3, 3) << 0, -1, 0, -1, 5, -1, 0, -1, 0);
    Add(
        "OpenCV/filter2D sharpen", [=] { cv::filter2D(picture, *out, -1, sharp); }, "filter/Sharpen");
    Add(
        "OpenCV/resize area", [=] { cv::resize(picture, *out, {}, 0.5, 0.5, cv::INTER_AREA); }, "scale/half");
    const cv::Point2f middle(static_cast<float>(dib->biWidth) / 2, static_cast<float>(dib->biHeight) / 2);
    const cv::Mat turn = cv::getRotationMatrix2D(middle, 25, 1);
    Add(
        "OpenCV/warpAffine", [=] { cv::warpAffine(picture, *out, turn, picture.size()); }, "filter/Rotate");
}

const Peer kOpenCv(AddOpenCv);

}  // namespace
}  // namespace kestrel::bench
