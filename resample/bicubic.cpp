#include "resample/bicubic.h"

#include <cmath>

namespace mirvo {

template <int N>
void BicubicKernel(int n, const float (&pos)[N], int (&start)[N], float (&w)[N][4]) {
  for (int i = 0; i < N; ++i) {
    const int f = static_cast<int>(std::floor(pos[i]));
    int s = f - 1;
    if (f < 0) {
      s = -1;
    } else if (s > n - 3) {
      s = n - 3;
    }
    const float t = pos[i] - static_cast<float>(s) + (-1.0f);

    // Catmull-Rom (cubic convolution, a = -0.5) in nested form.
    const float w0 = t * (t * (1.0f - 0.5f * t) - 0.5f);
    const float w1 = t * (t * (1.5f * t - 2.5f)) + 1.0f;
    const float w2 = t * (t * (2.0f - 1.5f * t) + 0.5f);
    const float w3 = t * (t * (0.5f * t - 0.5f));

    // A missing outer sample is extrapolated linearly (2 p0 - p1 before the
    // first, 2 p(n-1) - p(n-2) after the last) and folded into the weights of
    // the samples that exist, so the four taps always stay inside the axis.
    if (s == -1) {
      start[i] = 0;
      w[i][0] = w1 + 2.0f * w0;
      w[i][1] = w2 - w0;
      w[i][2] = w3;
      w[i][3] = 0.0f;
    } else if (s == n - 3) {
      start[i] = n - 4;
      w[i][0] = 0.0f;
      w[i][1] = w0;
      w[i][2] = w1 - w3;
      w[i][3] = w2 + 2.0f * w3;
    } else {
      start[i] = s;
      w[i][0] = w0;
      w[i][1] = w1;
      w[i][2] = w2;
      w[i][3] = w3;
    }
  }
}

template <int Hs, int Ws, int Hd, int Wd>
void ResampleBicubic(const float (&x)[Wd], const float (&y)[Hd], const float (&src)[Hs][Ws], float (&dst)[Hd][Wd]) {
  int ry[Hd];
  float wy[Hd][4];
  BicubicKernel<Hd>(Hs, y, ry, wy);

  // Vertical pass: whole source rows at a time, so the column loop vectorises.
  float tmp[Hd][Ws] = {};
  for (int i = 0; i < Hd; ++i) {
    const float* s0 = src[ry[i]];
    const float* s1 = src[ry[i] + 1];
    const float* s2 = src[ry[i] + 2];
    const float* s3 = src[ry[i] + 3];
    const float a = wy[i][0], b = wy[i][1], c = wy[i][2], d = wy[i][3];
    for (int col = 0; col < Ws; ++col) tmp[i][col] = ((a * s0[col] + b * s1[col]) + c * s2[col]) + d * s3[col];
  }

  int rx[Wd];
  float wx[Wd][4];
  BicubicKernel<Wd>(Ws, x, rx, wx);

  // Horizontal pass: the taps are gathered once per row into contiguous
  // arrays so the weighted sum runs over plain column vectors.
  for (int i = 0; i < Hd; ++i) {
    float t0[Wd], t1[Wd], t2[Wd], t3[Wd];
    for (int j = 0; j < Wd; ++j) {
      const float* p = tmp[i] + rx[j];
      t0[j] = p[0];
      t1[j] = p[1];
      t2[j] = p[2];
      t3[j] = p[3];
    }
    for (int j = 0; j < Wd; ++j)
      dst[i][j] = ((wx[j][0] * t0[j] + wx[j][1] * t1[j]) + wx[j][2] * t2[j]) + wx[j][3] * t3[j];
  }
}

namespace {

// Output sample j sits at source position j/2 + 0.25, i.e. a quarter and three
// quarters into each source interval, so no sample needs extrapolation.
// `stride` is the source row length; 13 rows of 17 columns are read.
void Upsample2x(const float* src, int stride, float* dst) {
  float tmp[13][32];
  for (int r = 0; r < 13; ++r) {
    const float* row = src + static_cast<long>(r) * stride;
    for (int k = 0; k < 16; ++k) {
      const float a = row[k];
      const float b = row[k + 1];
      tmp[r][2 * k] = a * 0.75f + b * 0.25f;
      tmp[r][2 * k + 1] = b * 0.75f + a * 0.25f;
    }
  }
  for (int r = 0; r < 12; ++r) {
    float* even = dst + (2 * r) * 32;
    float* odd = even + 32;
    for (int c = 0; c < 32; ++c) {
      const float a = tmp[r][c];
      const float b = tmp[r + 1][c];
      even[c] = a * 0.75f + b * 0.25f;
      odd[c] = a * 0.25f + b * 0.75f;
    }
  }
}

}  // namespace

void Resample13x17to24x32(const Matrix<float>& src, Matrix<float>* dst) {
  dst->Resize(32, 24);  // keeps the buffer when it already holds 768 floats
  Upsample2x(src.data.data(), src.cols, dst->data.data());
}

void Resample13x17to24x32(const float (&src)[13][17], float (&dst)[24][32]) { Upsample2x(&src[0][0], 17, &dst[0][0]); }

Rgbg* CubicInterpolate_rgbg(Rgbg* out, Rgbg* p0, Rgbg* p1, Rgbg* p2, Rgbg* p3, float t) {
  const auto interpolate = [t](float q0, float q1, float q2, float q3) {
    const float a0 = q1 + ((q3 - q2) - q0);
    return q1 + ((q2 - q0) + (((q0 - q1) - a0) + a0 * t) * t) * t;
  };
  out->rg = interpolate(p0->rg, p1->rg, p2->rg, p3->rg);
  out->bg = interpolate(p0->bg, p1->bg, p2->bg, p3->bg);
  return out;
}

template void BicubicKernel<13>(int, const float (&)[13], int (&)[13], float (&)[13][4]);
template void BicubicKernel<17>(int, const float (&)[17], int (&)[17], float (&)[17][4]);
template void BicubicKernel<24>(int, const float (&)[24], int (&)[24], float (&)[24][4]);
template void BicubicKernel<32>(int, const float (&)[32], int (&)[32], float (&)[32][4]);

template void ResampleBicubic<13, 17, 13, 17>(const float (&)[17], const float (&)[13], const float (&)[13][17],
                                              float (&)[13][17]);
template void ResampleBicubic<13, 17, 24, 32>(const float (&)[32], const float (&)[24], const float (&)[13][17],
                                              float (&)[24][32]);

}  // namespace mirvo
