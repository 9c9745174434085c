// OpenCV as its best users call it: results are kept, tables and matrices made once. `bench_opencv job NAME IN OUT` is
// the program that does a whole command.
#include <opencv2/core.hpp>
#include <opencv2/core/version.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <array>
#include <stdexcept>
#include <vector>

#include "bench/Worker.h"

namespace kestrel::bench {
namespace {

using cv::Mat;
using Image = std::function<void(Mat&)>;

const cv::Matx33f kSepia(0.131F, 0.534F, 0.272F, 0.168F, 0.686F, 0.349F, 0.189F, 0.769F, 0.393F);
const cv::Matx33f kBlur = cv::Matx33f(1, 2, 1, 2, 4, 2, 1, 2, 1) * (1.0F / 16);
const cv::Matx33f kSharp(0, -1, 0, -1, 5, -1, 0, -1, 0);

/// A table for each channel; -1 leaves a channel as it is.
Mat Tables(const std::array<double, 3>& factors) {
    Mat table(1, 256, CV_8UC3);
    for (int i = 0; i < 256; ++i)
        for (int c = 0; c < 3; ++c) {
            const double factor = factors[static_cast<std::size_t>(c)];
            table.at<cv::Vec3b>(i)[c] = cv::saturate_cast<std::uint8_t>(factor < 0 ? i : i * factor + 5);
        }
    return table;
}

Mat Table(double factor) {
    Mat table;
    cv::extractChannel(Tables({factor, factor, factor}), table, 0);
    return table;
}

/// Through another colour space and back, with a table for each channel between.
Image Through(const Mat& picture, int there, int back, const std::array<double, 3>& factors) {
    return [=, table = Tables(factors), other = Mat()](Mat& out) mutable {
        cv::cvtColor(picture, other, there);
        cv::LUT(other, table, other);
        cv::cvtColor(other, out, back);
    };
}

void HueAndSaturationByRange(const Mat& picture, Mat& out) {
    static const Mat turn = Table(1.1), strength = Table(0.5);
    static Mat other, factor;
    static std::vector<Mat> planes;
    cv::cvtColor(picture, other, cv::COLOR_BGR2HSV_FULL);
    cv::split(other, planes);
    cv::LUT(planes[0], strength, factor);
    cv::LUT(planes[0], turn, planes[0]);
    cv::multiply(planes[1], factor, planes[1], 1 / 128.0);
    cv::merge(planes, other);
    cv::cvtColor(other, out, cv::COLOR_HSV2BGR_FULL);
}

void AutoLevels(const Mat& picture, Mat& out) {
    Mat table(1, 256, CV_8UC3);
    const int size = 256;
    const float range[] = {0, 256};
    const float* ranges = range;
    for (int c = 0; c < 3; ++c) {
        Mat counts;
        cv::calcHist(&picture, 1, &c, Mat(), counts, 1, &size, &ranges);
        const float cut = static_cast<float>(picture.total()) / 200;
        int low = 0, high = 255;
        for (float sum = 0; low < 254 && (sum += counts.at<float>(low)) < cut;) ++low;
        for (float sum = 0; high > low + 1 && (sum += counts.at<float>(high)) < cut;) --high;
        for (int i = 0; i < 256; ++i)
            table.at<cv::Vec3b>(i)[c] = cv::saturate_cast<std::uint8_t>((i - low) * 255 / (high - low));
    }
    cv::LUT(picture, table, out);
}

void Rotate(const Mat& picture, double degrees, Mat& out) {
    const cv::Size2f size(picture.size());
    Mat turn = cv::getRotationMatrix2D({size.width / 2, size.height / 2}, degrees, 1);
    const cv::Rect2f box = cv::RotatedRect({}, size, static_cast<float>(degrees)).boundingRect2f();
    turn.at<double>(0, 2) += (box.width - size.width) / 2;
    turn.at<double>(1, 2) += (box.height - size.height) / 2;
    cv::warpAffine(picture, out, turn, box.size());
}

/// A colour behind the picture, where its shape, moved and blurred, lets it be seen.
void Shadow(const Mat& picture, const Mat& alpha, Mat& out) {
    static Mat soft, mask;
    const int distance = 12;
    cv::blur(alpha, soft, {5, 5});  // three of them are a bell as wide as ten rounds make it
    for (int i = 0; i < 2; ++i) cv::blur(soft, soft, {5, 5});
    out.create(picture.rows + distance, picture.cols + distance, CV_8UC3);
    mask.create(out.size(), CV_8U);
    out = cv::Scalar(60, 20, 20);
    mask = cv::Scalar(0);
    soft.copyTo(mask({distance, distance, picture.cols, picture.rows}));
    picture.copyTo(out({0, 0, picture.cols, picture.rows}), alpha);
    Mat front = mask({0, 0, picture.cols, picture.rows});
    cv::max(front, alpha, front);
}

/// Ramps along the four sides of the mask.
void SoftEdge(const Mat& picture, Mat& out) {
    const int width = std::min(30, picture.rows / 2);
    out.create(picture.size(), CV_8U);
    out = cv::Scalar(255);
    for (int i = 0; i < width; ++i)
        cv::rectangle(out, {i, i, out.cols - 2 * i, out.rows - 2 * i}, cv::Scalar(255.0 * i / width));
}

void Flatten(const Mat& picture, const Mat& alpha, Mat& out) {
    static Mat wide, ground;
    static const Mat behind = [] {
        Mat table(1, 256, CV_8UC3);
        for (int i = 0; i < 256; ++i) table.at<cv::Vec3b>(i) = cv::Vec3b(cv::Vec3i(210, 150, 90) * (255 - i) / 255);
        return table;
    }();
    cv::cvtColor(alpha, wide, cv::COLOR_GRAY2BGR);
    cv::LUT(wide, behind, ground);
    cv::multiply(picture, wide, out, 1 / 255.0);
    cv::add(out, ground, out);
}

void ToneFilters(Mat& picture, int count) {
    for (int i = 0; i < count; ++i)
        if (i % 2 == 0)
            cv::LUT(picture, Tables({1.1, 1.2, 0.9}), picture);
        else
            cv::transform(picture, picture, kSepia);
}

void AddCodec(Worker& worker, const Mat& picture, const std::string& name, const std::vector<int>& options) {
    const auto file = std::make_shared<std::vector<std::uint8_t>>();
    cv::imencode("." + name, picture, *file, options);
    worker.Add("codec/encode " + name, "imencode", [=] { cv::imencode("." + name, picture, *file, options); });
    worker.Add<Mat>("codec/decode " + name, "imdecode", [=](Mat& out) { cv::imdecode(*file, cv::IMREAD_COLOR, &out); });
}

void AddAll(Worker& worker) {
    const auto add = [&](const char* row, const char* call, const Image& work) {
        worker.Add<Mat>(std::string("line/") + row, call, work);
    };
    const Mat p = cv::imread(worker.Given().folder + "/picture.png");
    const Mat cutOut = cv::imread(worker.Given().folder + "/cutout.png", cv::IMREAD_UNCHANGED);
    const Mat half = cv::imread(worker.Given().folder + "/half.png");
    Mat a;
    cv::extractChannel(cutOut, a, 3);
    if (p.empty() || half.empty() || a.empty()) throw std::runtime_error("the pictures are missing");
    add("invert", "bitwise_not", [=](Mat& out) { cv::bitwise_not(p, out); });
    add("sepia", "transform", [=](Mat& out) { cv::transform(p, out, kSepia); });
    add("grey", "cvtColor, there and back", [=, grey = Mat()](Mat& out) mutable {
        cv::cvtColor(p, grey, cv::COLOR_BGR2GRAY);
        cv::cvtColor(grey, out, cv::COLOR_GRAY2BGR);
    });
    add("brightness and contrast", "LUT", [=, table = Table(1.2)](Mat& out) { cv::LUT(p, table, out); });
    add("curves", "LUT of three channels", [=, table = Tables({1.1, 1.2, 0.9})](Mat& out) { cv::LUT(p, table, out); });
    add("exposure and saturation", "cvtColor HLS, LUT",
        Through(p, cv::COLOR_BGR2HLS_FULL, cv::COLOR_HLS2BGR_FULL, {-1, 1.1, 1.2}));
    add("hue and saturation by range", "cvtColor HSV, LUT, multiply",
        [=](Mat& out) { HueAndSaturationByRange(p, out); });
    add("luminance curve", "cvtColor YCrCb, LUT", Through(p, cv::COLOR_BGR2YCrCb, cv::COLOR_YCrCb2BGR, {1.1, -1, -1}));
    add("auto levels", "calcHist, LUT", [=](Mat& out) { AutoLevels(p, out); });
    add("blur 3x3", "GaussianBlur", [=](Mat& out) { cv::GaussianBlur(p, out, {3, 3}, 0); });
    add("sharpen 3x3", "filter2D", [=](Mat& out) { cv::filter2D(p, out, -1, kSharp); });
    add("dust", "medianBlur (another rule)", [=](Mat& out) { cv::medianBlur(p, out, 3); });
    add("reduce to 1600", "resize, INTER_AREA", [=](Mat& out) {
        const double factor = std::min(1.0, 1600.0 / p.cols);
        cv::resize(p, out, {}, factor, factor, cv::INTER_AREA);
    });
    add("enlarge 6 MP 2 x", "resize, INTER_CUBIC", [=](Mat& out) { cv::resize(half, out, {}, 2, 2, cv::INTER_CUBIC); });
    add("rotate 7 degrees", "warpAffine", [=](Mat& out) { Rotate(p, 7, out); });
    add("quarter turn", "rotate", [=](Mat& out) { cv::rotate(p, out, cv::ROTATE_90_CLOCKWISE); });
    add("shadow, ten rounds", "blur, copyTo", [=](Mat& out) { Shadow(p, a, out); });
    add("soft edge", "rectangles (the mask only)", [=](Mat& out) { SoftEdge(p, out); });
    add("flatten", "LUT, multiply, add", [=](Mat& out) { Flatten(p, a, out); });
    AddCodec(worker, p, "jpeg", {cv::IMWRITE_JPEG_QUALITY, 92});
    AddCodec(worker, p, "png",
             {cv::IMWRITE_PNG_COMPRESSION, 6, cv::IMWRITE_PNG_STRATEGY, cv::IMWRITE_PNG_STRATEGY_DEFAULT});
}

void RunJob(const std::string& name, const std::string& in, const std::string& out) {
    Mat picture = cv::imread(in, name == "reduce" ? cv::IMREAD_REDUCED_COLOR_2 : cv::IMREAD_COLOR);
    Mat result;
    if (name == "reduce") {
        cv::transform(picture, picture, kSepia);
        const double factor = std::min(1.0, 1600.0 / picture.cols);
        cv::resize(picture, result, {}, factor, factor, cv::INTER_AREA);
        cv::filter2D(result, picture, -1, kSharp);
    } else if (name == "rotate") {
        Rotate(picture, 7, result);
        picture = result;
    } else if (name == "tones") {
        ToneFilters(picture, 10);
    } else {
        cv::bitwise_not(picture, picture);
    }
    if (!cv::imwrite(out, picture, {cv::IMWRITE_JPEG_QUALITY, 92})) throw std::runtime_error("cannot write");
}

}  // namespace
}  // namespace kestrel::bench

int main(int argc, char** argv) try {
    using namespace kestrel::bench;
    if (argc == 5) {
        cv::setNumThreads(1);
        RunJob(argv[2], argv[3], argv[4]);
        return 0;
    }
    Worker worker(Worker::Read(argc, argv));
    cv::setNumThreads(worker.Given().threads);
    AddAll(worker);
    return worker.Run("OpenCV " CV_VERSION);
} catch (const std::exception& error) {
    std::cerr << "bench_opencv: " << error.what() << "\n";
    return 1;
}
