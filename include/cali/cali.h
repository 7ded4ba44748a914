/*
 * libcali: calibration and verification of a camera ISP's tuning values from raw Bayer captures.
 *
 * What all exports share
 * ----------------------
 * Frame      width * height unsigned 32-bit samples, row-major, no padding; sample (y, x) is at y * width + x. Samples
 *            are sensor codes on a 12-bit scale, 0..4095. Most exports take a pointer to the caller's frame pointer.
 *            Frames are the caller's and never freed or reallocated. An input is unchanged unless its export says
 *            otherwise. Output buffers may be the input buffer itself; they must not overlap it in part.
 * Pattern    colours of the top-left 2 x 2 photosites: 0 BGGR, 1 GBRG, 2 GRBG, 3 RGGB.
 * Channels   RR red, GR green on the red rows, GB green on the blue rows, BB blue. Scalar arguments come in this
 *            order; arrays indexed by channel run BB, GB, GR, RR (codes 0 to 3).
 * Scales     white-balance gains and matrix entries: 1024 = 1.0. Lens-shading gains: 512 = 1.0. Black-level gains:
 *            float, 1.0 = unity.
 * Result     0, or -1 where the input is rejected: outputs are then untouched, and (but for cali_ccm_calc) a warning
 *            says what was found and what was expected. -1 without a warning: no memory. Null pointers to buffers that
 *            would be read or written, negative sizes, more than 2^31 - 1 samples and patterns outside 0..3 are
 *            rejected everywhere; what an export rejects beyond that is listed with it. Buffer lengths cannot be
 *            checked. Empty frames, counts of 0 and the like give what the arithmetic gives (NaN, infinity, 0).
 * Warnings   on Windows a modal message box, unless the environment variable CALI_WARNINGS is "stderr"; elsewhere one
 *            line "CAPTION: TEXT" on standard error.
 * Printing   progress and results go to standard output.
 * Threads    none are created. The white-balance window and curve are process-wide and unsynchronised: call from one
 *            thread at a time. Nothing needs to be initialised or shut down.
 *
 */
#ifndef CALI_CALI_H
#define CALI_CALI_H

#include <stdint.h>

#define CALI_VERSION_MAJOR 0
#define CALI_VERSION_MINOR 1
#define CALI_VERSION_PATCH 0
#define CALI_VERSION_STRING "0.1.0"

#if defined(_WIN32)
#if defined(CALI_BUILDING)
#define CALI_API __declspec(dllexport)
#elif defined(CALI_STATIC)
#define CALI_API
#else
#define CALI_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define CALI_API __attribute__((visibility("default")))
#else
#define CALI_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------------- records ---- */

/* 12 bytes: the light sources' ratios and temperatures as the camera takes them. Word 0: the count in bits 0-3, then
   sample i's temperature code (500 K steps from 1500 K) in bits 4i + 4 to 4i + 7. Words 1 and 2: the codes of ratio a
   and ratio b (steps of 1/8) in the same bits. Codes saturate at 15. */
typedef struct SCT_RB_CLBT_PACK {
    uint32_t word[3];
} SCT_RB_CLBT_PACK;

/* 24 bytes: y = a x^2 + b x + c, then the packed record. */
typedef struct AwbCurveRecord {
    float a, b, c;
    SCT_RB_CLBT_PACK pack;
} AwbCurveRecord;

/* 16 bytes: columns x .. x + w - 1, rows y .. y + h - 1. */
typedef struct RoiRect {
    int32_t x, y, w, h;
} RoiRect;

/* 32 bytes: mean colour of a region, each channel 0..255. */
typedef struct RoiRgbMean {
    double b, g, r;
    uint8_t valid;
    int32_t reserved;
} RoiRgbMean;

/* 16 bytes. */
typedef struct GrayInterpSettings {
    uint16_t gray_tolerance; /* allowed deviation of the three channels at full brightness; in codes of 0..255 */
    uint32_t step;           /* brightness step between inserted pairs, 1 or more; in codes of 0..255 */
    float step_fraction;     /* a remainder above this share of a step earns one pair more */
    uint32_t max_add;        /* most pairs that may be appended */
} GrayInterpSettings;

/* One brightness level: frames of the same flat patch. 16 bytes. */
typedef struct Level {
    uint32_t** frames;
    uint32_t nframes;
} Level;

/* A brightness series. 32 bytes. */
typedef struct LevelList {
    Level* levels;
    uint32_t count;
    /* An export that takes the list by value calls release(&list) exactly once before it returns, in every case; NULL:
       nothing to release. It frees the outer and inner arrays, not the frames. */
    void (*release)(struct LevelList* list);
    void* owner; /* the caller's, never touched by the library */
} LevelList;

/* Black level of cali_isp_ccm_pipe_calc_v2, in the order RR, GR, GB, BB. 32 bytes. */
typedef struct CcmPreprocess {
    int32_t offset[4];
    float gain[4];
} CcmPreprocess;

/* Values of CcmLensShading.mode. */
enum {
    CALI_CCM_SHADING_NONE = 0,
    CALI_CCM_SHADING_MESH = 1,
    CALI_CCM_SHADING_RADIAL = 2,
    CALI_CCM_SHADING_MESH_RADIAL = 3 /* mesh, then radial */
};

/* Lens shading of cali_isp_ccm_pipe_calc_v2. Grids row-major with stride grid_cols, at most 37 x 37 nodes. */
typedef struct CcmLensShading {
    int32_t mode; /* CALI_CCM_SHADING_... */
    int32_t grid_cols, grid_rows;
    uint32_t red_grid[1369], green_grid[1369], blue_grid[1369];
    int32_t center_x, center_y;
    int32_t radial_tables[128];
} CcmLensShading;

/* Tone curves of cali_isp_ccm_pipe_calc_v2: codes 0..4095 over the input range 0..1, one or more. */
typedef struct CcmToneCurves {
    const uint32_t* first;
    uint32_t first_count;
    const uint32_t* second;
    uint32_t second_count;
} CcmToneCurves;

/* ------------------------------------------------------------------------------------------- white balance ---- */

/* Sets the window that cali_awb_calc measures, in photosites. Each value is rounded down to an even number (-3 becomes
   -4). The window is kept for the life of the process, empty at first. Checks nothing; always 0. */
CALI_API int32_t cali_awb_setROI(int32_t x, int32_t y, int32_t width, int32_t height);

/*
 * Gains that make the red and blue means of a grey target equal its green mean, after black level and mesh shading.
 *
 * frame            one frame, unchanged. At most 8192 either way.
 * grid_cols, _rows 3..129 each, at most 4761 nodes.
 * *_grid           grid_rows * grid_cols gains, row-major, 512 = 1.0. Green is the absolute gain, red and blue are
 *                  relative to it. Values are not checked.
 * offset_*         black level in codes; gain_rr .. gain_bb restore full scale after it.
 * gain_r, _g, _b   out: register gains, 1024 = 1.0. Green is always 1024; red and blue are narrowed to 16 bits, then
 *                  limited to 16383. A colour without signal gives 0.
 *
 * Prints "LSC...%3d%%\r" per row of the frame, then a line feed. Warns "WB Calib Warning": "ROI X,W is wrong" or "ROI
 * Y,H  is wrong" (-1) where the window does not end before the last column or row, or starts outside the frame without
 * being empty; "Too Bright" or "Too Dark" (still 0) where the green mean is above 2866.5 or below 614.25.
 *
 * The sums run in single precision, row by row, as the ISP's reference does: beyond about 2^24 codes in a sum each
 * addition rounds, which over a full frame can move a gain by half a percent. Prefer windows of up to 256 x 256.
 */
CALI_API int32_t cali_awb_calc(uint32_t** frame, int32_t width, uint32_t height, int32_t pattern, int32_t grid_cols,
                               int32_t grid_rows, const uint32_t* red_grid, const uint32_t* green_grid,
                               const uint32_t* blue_grid, uint32_t offset_rr, uint32_t offset_gr, uint32_t offset_gb,
                               uint32_t offset_bb, float gain_rr, float gain_gr, float gain_gb, float gain_bb,
                               uint16_t* gain_r, uint16_t* gain_g, uint16_t* gain_b);

/*
 * The frame after black level, mesh shading and white-balance gains. Arguments as for cali_awb_calc; the window has no
 * part in it.
 *
 * frame            MODIFIED: the black level is subtracted in it.
 * gain_r, gain_b   1024 = 1.0. gain_g is ignored: greens are copied, also above 4095; red and blue end at 4095.
 * output           width * height samples, fully written. An empty frame leaves it untouched.
 *
 * Prints the progress of cali_awb_calc.
 */
CALI_API int32_t cali_awb_verify(uint32_t** frame, int32_t width, uint32_t height, int32_t pattern, int32_t grid_cols,
                                 int32_t grid_rows, const uint32_t* red_grid, const uint32_t* green_grid,
                                 const uint32_t* blue_grid, uint32_t offset_rr, uint32_t offset_gr, uint32_t offset_gb,
                                 uint32_t offset_bb, float gain_rr, float gain_gr, float gain_gb, float gain_bb,
                                 uint16_t gain_r, uint16_t gain_g, uint16_t gain_b, uint32_t** output);

/*
 * Fits the parabola y(x) between the two normalised chroma ratios, x = norm_a / ratio_a and y = norm_b / ratio_b, of up
 * to seven light sources and packs the camera's record; keeps the coefficients for cali_awb_getCurve. While the
 * parabola opens downward or dips below 0, one anchor at x = 0 is added, 0.1 higher each time, at most 101 times. Too
 * few lights for a parabola give NaN.
 *
 * norm_a, norm_b       normalisers of the ratios.
 * ratio_a, _b, temp_k  count floats each; temperatures in kelvin, none 0.
 * weight               count bytes, their sum below 512; 0 leaves a sample out of the fit.
 * count                0..7.
 * record               out.
 *
 * Prints the record's words and bytes. Warns "WB Calib Warning" (-1): "Amount is Over", "TempK is 0", "Total Weight is
 * too big". Codes in the record are the nearest, and saturate.
 */
CALI_API int32_t cali_awb_BuildCurve(float norm_a, float norm_b, const float* ratio_a, const float* ratio_b,
                                     const float* temp_k, const uint8_t* weight, uint8_t count, AwbCurveRecord* record);

/* Samples the curve of the last cali_awb_BuildCurve (all zero before one) into `table`: 200 floats within 0..8, the
   running minimum of 1024 y / ref_b[1] at x = i / 100 * ref_a[1] / 1024. Of ref_a and ref_b only element 1 is read. */
CALI_API int32_t cali_awb_getCurve(float* table, const float* ref_a, const float* ref_b);

/* --------------------------------------------------------------------------------------------- black level ---- */

/*
 * Black level of a dark frame by the median of each channel.
 *
 * frame      one frame, unchanged. Samples of 4096 or more are skipped.
 * offset_*   out: codes. gain_*   out: 4096 / (4096 - offset).
 *
 * Returns 1, with the results written, when a median is below 1 or not below 800; a line per such channel says so:
 * "ch=%d, blc_offset(=%d) <= BLC_CALIB_MIN(=%d)" or "... >= BLC_CALIB_MAX(=%d)".
 */
CALI_API int32_t cali_blc_calc_by_median(uint32_t** frame, uint32_t width, uint32_t height, int32_t pattern,
                                         uint32_t* offset_rr, uint32_t* offset_gr, uint32_t* offset_gb,
                                         uint32_t* offset_bb, float* gain_rr, float* gain_gr, float* gain_gb,
                                         float* gain_bb);

/*
 * The same by the mean of each channel, summed row by row in single precision. Only the low 16 bits of width and
 * height are used. A channel without samples has no mean: its offset is then 2^31. Prints "blc result=0".
 */
CALI_API int32_t cali_blc_calc_by_mean(uint32_t** frame, uint32_t width, uint32_t height, int32_t pattern,
                                       uint32_t* offset_rr, uint32_t* offset_gr, uint32_t* offset_gb,
                                       uint32_t* offset_bb, float* gain_rr, float* gain_gr, float* gain_gb,
                                       float* gain_bb);

/*
 * The same by the mean plus a tenth of the standard deviation, at most 4095 where is_12bit is not 0, else 1023. The
 * sums of samples are 32-bit integers that wrap.
 */
CALI_API int32_t cali_blc_calc(uint32_t** frame, int32_t width, int32_t height, int32_t pattern, uint32_t* offset_rr,
                               uint32_t* offset_gr, uint32_t* offset_gb, uint32_t* offset_bb, float* gain_rr,
                               float* gain_gr, float* gain_gb, float* gain_bb, int32_t is_12bit);

/*
 * Means of blocks: each channel's plane of half the frame's size is divided into blocks of width / blocks by height /
 * blocks plane samples, from top left. When fewer than two blocks remain in a row or column of blocks, the block takes
 * all that remains; a width so enlarged is kept for the block rows that follow. An odd last row or column is ignored.
 *
 * offset_*   out: blocks * blocks / 4 codes each, in the order the blocks are visited; entries past the last visited
 *            block are 0.
 * spare_*    not used.
 * blocks     1 or more, and small enough that a block has a size.
 */
CALI_API int32_t cali_blc_calc_by_localblc(uint32_t** frame, int32_t width, int32_t height, int32_t pattern,
                                           uint32_t* offset_rr, uint32_t* offset_gr, uint32_t* offset_gb,
                                           uint32_t* offset_bb, void* spare_1, void* spare_2, void* spare_3,
                                           void* spare_4, uint32_t blocks);

/* Histograms of a dark frame: hist_* are 4096 counts each, fully written, by sample value. Samples of 4096 or more are
   skipped. */
CALI_API int32_t cali_blc_get_histogram(uint32_t** frame, uint32_t width, uint32_t height, uint32_t pattern,
                                        uint32_t* hist_rr, uint32_t* hist_gr, uint32_t* hist_gb, uint32_t* hist_bb);

/* The frame after black level: `output`, width * height samples, receives max(sample - offset, 0) * gain, rounded and
   not limited above. The input is unchanged. An empty frame leaves the output untouched. */
CALI_API int32_t cali_blc_verify(uint32_t** frame, uint32_t width, uint32_t height, uint32_t pattern,
                                 uint32_t offset_rr, uint32_t offset_gr, uint32_t offset_gb, uint32_t offset_bb,
                                 float gain_rr, float gain_gr, float gain_gb, float gain_bb, uint32_t** output);

/* --------------------------------------------------------------------------------------- colour correction ---- */

/*
 * Weighted least-squares matrix from white-balanced patches to the linear colours of a 24-patch chart,
 * rows constrained to sum to 1.
 *
 * patches        patch_count pointers to patch_w * patch_h pixels of 3 interleaved samples, 0..4095, in chart order.
 * reserved       not read.
 * patch_count    1..24. channels: 3.
 * lambda_scale   1 gives the exact constraint.
 * weights        patch_count floats.
 * ccm            out: 9 floats, row-major. ccm_q10   out: the same, 1024 = 1.0, rows summing to 1024.
 *
 * Every diagonal element is at least 1 before the rows are normalised. The identity where the normal matrix cannot be
 * inverted ("mat's determinant is equal 0" on standard error) or a row's sum is not above 0. Rejects without a warning.
 */
CALI_API int32_t cali_ccm_calc(const int32_t* const* patches, const void* reserved, int32_t patch_count,
                               uint32_t patch_w, uint32_t patch_h, int32_t channels, float lambda_scale,
                               const float* weights, float* ccm, int32_t* ccm_q10);

/*
 * Black level, mesh shading and white balance on a chart frame (unchanged), then the fit of
 * cali_ccm_calc. chart_windows: 24 windows in chart order, or NULL: the chart fills the frame as 6 x 4 cells, each
 * window centred with half the cell's size. Other arguments as for cali_awb_verify and cali_ccm_calc.
 */
CALI_API int32_t cali_isp_ccm_pipe_calc(uint32_t** frame, int32_t width, int32_t height, int32_t pattern,
                                        int32_t grid_cols, int32_t grid_rows, const uint32_t* red_grid,
                                        const uint32_t* green_grid, const uint32_t* blue_grid, uint32_t offset_rr,
                                        uint32_t offset_gr, uint32_t offset_gb, uint32_t offset_bb, float gain_rr,
                                        float gain_gr, float gain_gb, float gain_bb, uint16_t gain_r, uint16_t gain_g,
                                        uint16_t gain_b, const RoiRect* chart_windows, float lambda_scale,
                                        const float* weights, float* ccm, int32_t* ccm_q10);

/* As cali_isp_ccm_pipe_calc, with the gains taken from the chart's greys between white and black and
   returned as cali_awb_calc returns them. Their green mean is also what "Too Bright" and "Too Dark" look at, as there
   under "WB Calib Warning". */
CALI_API int32_t cali_isp_awb_ccm(uint32_t** frame, int32_t width, int32_t height, int32_t pattern, int32_t grid_cols,
                                  int32_t grid_rows, const uint32_t* red_grid, const uint32_t* green_grid,
                                  const uint32_t* blue_grid, uint32_t offset_rr, uint32_t offset_gr, uint32_t offset_gb,
                                  uint32_t offset_bb, float gain_rr, float gain_gr, float gain_gb, float gain_bb,
                                  const RoiRect* chart_windows, float lambda_scale, const float* weights,
                                  uint16_t* gain_r, uint16_t* gain_g, uint16_t* gain_b, float* ccm, int32_t* ccm_q10);

/* White points of cali_isp_ccm_pipe_calc_v2. */
enum {
    CALI_WHITE_D50 = 50, /* as any value that is not 65 */
    CALI_WHITE_D65 = 65
};

/*
 * The matrix that minimises the weighted CIE 1976 colour difference on a chart frame, found in two
 * stages (hue and saturation, then the full matrix).
 *
 * frame                    width * height samples, unchanged.
 * chart_windows            24 windows, or NULL as for cali_isp_ccm_pipe_calc.
 * tone_curves              or NULL: two identity curves. An entry above 4095 is rejected.
 * wb_gain_r, _b            0..65535, 1024 = 1.0; 0 means unity.
 * saturation_and_weights   25 floats: the final saturation factor (1 leaves the matrix as fitted), then 24 weights.
 * ccm, ccm_q10             out, 9 each, as for cali_ccm_calc.
 * white_point              CALI_WHITE_D65, or CALI_WHITE_D50 and anything else.
 * shading_tables_held      0 loads lens_shading, anything else runs no shading stage.
 * reserved_2, _13          not read.
 *
 * A patch's colour is the mean of its window's samples. Windows lie inside the frame and are 2 x 2 or more; a mesh has
 * 4 to 37 nodes either way. Prints the mesh's progress and the two minima that were found. -1 also where the patches
 * are black or colourless, which leaves the fit without a start, and where the optimiser fails: the warning says which.
 * The total of the
 * weights is kept in an integer, truncated at every addition; weights that leave it 0 end with 0 and an error that is
 * not finite.
 */
CALI_API int32_t cali_isp_ccm_pipe_calc_v2(uint32_t* frame, int64_t reserved_2, const RoiRect* chart_windows,
                                           const CcmToneCurves* tone_curves, int32_t width, int32_t height,
                                           int32_t pattern, const CcmPreprocess* preprocess,
                                           const CcmLensShading* lens_shading, int64_t wb_gain_r, int64_t wb_gain_b,
                                           const float* saturation_and_weights, int64_t reserved_13, float* ccm,
                                           int32_t* ccm_q10, int32_t white_point, uint8_t shading_tables_held);

/* ------------------------------------------------------------------------------------------- chart regions ---- */

/* Mean colours of regions of an 8-bit image, B, G, R per pixel, rows of `width` pixels. Rectangles must
   lie inside the image, which cannot be checked: height is not read. A region without pixels gives NaN. */
CALI_API int32_t cali_roi_rgb_cal(const uint8_t* image, int32_t width, int64_t height, RoiRgbMean* means,
                                  const RoiRect* rois, int32_t roi_count);

/* Modes of cali_roi_rgb_adjust: what 24 records' six greys (18..23) get. */
enum {
    CALI_ROI_GREY_LIGHTNESS = 0, /* the reference lightness at their measured chroma */
    CALI_ROI_ONE_LINE = 1,       /* the line of all records; as any other value, and any other count */
    CALI_ROI_GREY_LINE = 2       /* a line of their own */
};

/* Pulls measured chart colours towards their reference by a line per channel; mode: CALI_ROI_... */
CALI_API int32_t cali_roi_rgb_adjust(const RoiRgbMean* measured, const RoiRgbMean* reference, RoiRgbMean* adjusted,
                                     uint32_t count, uint32_t mode);

/* Keeps the pairs whose measured colour is nearly neutral, orders them by brightness and appends interpolated pairs for
   the gaps between them to both arrays, which need room for count + max_add records; `out_count` receives the new
   total. A plan above max_add widens its step by 2, at most 30 times; then "ERROR\n" is printed and nothing appended.
   -1 with "No available reference gray point pairs\n" where fewer than two pairs are neutral; `out_count` is then
   `count`. */
CALI_API int32_t cali_roi_rgb_interpolation(RoiRgbMean* measured, RoiRgbMean* reference, uint32_t count,
                                            const GrayInterpSettings* settings, uint32_t* out_count);

/* -------------------------------------------------------------------------------------------- lens shading ---- */

/* Values of calib_type: what the gains correct. */
enum {
    CALI_LSC_CHROMA_AND_LUMA = 0,
    CALI_LSC_CHROMA = 1, /* colour alone: green stays at 512 */
    CALI_LSC_LUMA = 2    /* brightness alone: one gain for all colours */
};

/*
 * Mesh grids and radial tables from one flat field (docs/lens-shading.md tells how they come about).
 *
 * raw               element 0 is the frame, unchanged; 1 to 8192 either way. A last odd row or column is not read.
 * grid_cols, _rows  4..129 each, at most 4761 nodes.
 * calib_type        CALI_LSC_...; below 0 as 0. Above 2 prints "calib_type err, calib chroma and luma" and is taken as
 *                   0.
 * denoise           not 0: clean each channel plane first. Samples of 4096 and more do not count in its thresholds.
 * blc_*             black levels in codes; only their mean is used.
 * center_x, _y      out: centroid of the light in photosites, even.
 * norm              out: 31 / (distance from there to the farthest corner), in 1/2048, truncated.
 * rtbl, gtbl, btbl  out: grid_cols * grid_rows gains each, row-major, 512 = 1.0. Green (512..4095) is the absolute
 *                   gain, red and blue (0..4095) are relative to it. The outer ring (256..4095) is extrapolated.
 * radius_lut        out: 128 gains (512..4095), 32 each for R, G, B, IR: entry k at k/31 of the distance to the
 *                   farthest corner. All are absolute, also with CALI_LSC_CHROMA. IR repeats R.
 * reserved          not read.
 *
 * Prints the filter's 21 taps, the centre, and a line "WARN gain < 1x: ..." for every mesh node inside the outer ring
 * with a gain below 512. -1 also where the GR plane holds no light to centre on. A colour without signal at the centre
 * gives gains of 0 in its mesh.
 */
CALI_API int32_t cali_lsc_calc(uint32_t** raw, int32_t width, int32_t height, int32_t bayer_pattern, int32_t grid_cols,
                               int32_t grid_rows, int32_t calib_type, int32_t denoise, int32_t blc_rr, int32_t blc_gr,
                               int32_t blc_gb, int32_t blc_bb, int32_t* center_x, int32_t* center_y, void* reserved,
                               int32_t* norm, int32_t* rtbl, int32_t* gtbl, int32_t* btbl, int32_t* radius_lut);

/*
 * The frame after black level and mesh shading, and after black level and radial shading: the one is no input of the
 * other.
 *
 * raw                         element 0 is the frame, at most 8192 either way. MODIFIED: the black level is subtracted
 *                             in it.
 * grid_cols, _rows            3..129 each, at most 4761 nodes; not looked at without mesh grids.
 * offset_*, gain_*            black level as for cali_awb_calc.
 * center_x, _y                radial centre in photosites; the normaliser follows from it and the frame's size.
 * rtbl, gtbl, btbl            mesh grids, or any of them NULL: mesh_output is left untouched.
 * radius_lut                  128 gains, or NULL: radial_output is left untouched. The infrared table is not read.
 * mesh_output, radial_output  element 0 is a frame of width * height samples; not looked at where its stage is skipped.
 * reserved_*                  not read.
 *
 * An empty frame leaves all untouched. Prints the progress of cali_awb_calc for the mesh.
 */
CALI_API int32_t cali_lsc_verify(uint32_t** raw, int32_t width, int32_t height, int32_t bayer_pattern,
                                 int32_t grid_cols, int32_t grid_rows, int64_t reserved_7, uint32_t offset_rr,
                                 uint32_t offset_gr, uint32_t offset_gb, uint32_t offset_bb, float gain_rr,
                                 float gain_gr, float gain_gb, float gain_bb, int32_t center_x, int32_t center_y,
                                 int64_t reserved_18, int64_t reserved_19, const int32_t* rtbl, const int32_t* gtbl,
                                 const int32_t* btbl, const int32_t* radius_lut, uint32_t** mesh_output,
                                 uint32_t** radial_output);

/* ------------------------------------------------------------------------------------------- noise profile ---- */

/*
 * Mean and standard deviation per level and cell position ((column & 1) + 2 (row & 1)).
 *
 * levels        by value: released before the call returns, in every case, also on -1.
 * count         levels; below 1 the list is only released. nframes: frames per level, 0 or more. Neither above what the
 *               list holds; width * height * nframes at most 2^31 - 1.
 * nch           cell positions, as many as the frame has or more: 4 in general.
 * means, stds   nch pointers to count floats each, out.
 *
 * The sums run in single precision, frame after frame, row by row: beyond 2^24 in a sum every addition rounds, and over
 * several full frames the deviation comes out visibly wrong. Prefer windows of 512 x 512 (docs/noise.md has figures).
 * The divisor of the mean is N = width * height * nframes / nch, that of the variance N - 1; N of 1 gives what a
 * division by zero gives.
 */
CALI_API int32_t cali_isp_roi_mean_std_calc(LevelList levels, uint32_t width, uint32_t height, int32_t count,
                                            int32_t nch, int32_t nframes, float** means, float** stds);

/* The same with variances. */
CALI_API int32_t cali_isp_roi_mean_var_calc(LevelList levels, uint32_t width, uint32_t height, int32_t count,
                                            int32_t nch, int32_t nframes, float** means, float** vars);

/* Least-squares line through n points, n read as signed: below 0 it is as 0. slope and intercept receive the bits of
   floats; equal x give NaN or infinity. */
CALI_API int32_t cali_isp_np_lr_calc(const float* x, const float* y, uint32_t n, uint32_t* slope, uint32_t* intercept);

/*
 * Noise line of each channel: standard deviation against mean over a brightness series.
 *
 * levels            the caller keeps the list. Its frames are MODIFIED: the black levels are subtracted, samples
 *                   limited to 0..4095.
 * pattern           0..3. Others are taken, but no cell position then has a channel: the lines are NaN.
 * black_gr_rr       serves both GR and RR.
 * slope_*, inter..  out: the bits of floats.
 * reserved          not read.
 */
CALI_API int32_t cali_isp_np_float_calc(const LevelList* levels, uint32_t width, uint32_t height, int32_t count,
                                        int32_t nframes, int32_t pattern, uint32_t black_bb, uint32_t black_gb,
                                        uint32_t black_gr_rr, int64_t reserved, uint32_t* slope_bb,
                                        uint32_t* intercept_bb, uint32_t* slope_gb, uint32_t* intercept_gb,
                                        uint32_t* slope_gr, uint32_t* intercept_gr, uint32_t* slope_rr,
                                        uint32_t* intercept_rr);

/* Register values of a noise line: the slope with slope_frac_bits fraction bits, the level at ref_level
   as a plain integer, each limited to its register's range. reserved_a, reserved_b are not read. */
CALI_API int32_t cali_isp_np_float_to_fix_calc(float slope, float intercept, int32_t ref_level, int32_t* slope_fix,
                                               int32_t* level_fix, int64_t reserved_a, uint32_t slope_int_bits,
                                               uint32_t slope_frac_bits, int64_t reserved_b, uint32_t level_bits_a,
                                               uint32_t level_bits_b);

/* The same with formats as NUL-terminated texts such as "U4.8", copied on entry. A text without "." is rejected. An
   empty text is the one case in which a C++ exception reaches the caller: std::out_of_range, before any output is
   written. */
CALI_API int32_t cali_isp_np_float_to_fix_calc_v2(float slope, float intercept, int32_t ref_level, int32_t* slope_fix,
                                                  int32_t* level_fix, const char* slope_format,
                                                  const char* level_format);

/* As cali_isp_np_float_calc with variances in place of standard deviations; patterns outside 0..3 are rejected. */
CALI_API int32_t cali_isp_np_float_calc_ainr(const LevelList* levels, uint32_t width, uint32_t height, int32_t count,
                                             int32_t nframes, int32_t pattern, uint32_t black_bb, uint32_t black_gb,
                                             uint32_t black_gr_rr, int64_t reserved, uint32_t* slope_bb,
                                             uint32_t* intercept_bb, uint32_t* slope_gb, uint32_t* intercept_gb,
                                             uint32_t* slope_gr, uint32_t* intercept_gr, uint32_t* slope_rr,
                                             uint32_t* intercept_rr);

/* As cali_isp_np_float_calc, converted to registers; patterns outside 0..3 are rejected. formats: slope and level
   format, "U4.8,U8.0"; blanks after the comma are skipped. Here and in the two exports that follow a format is a
   letter, digits, ".", digits, and nothing else, 0 to 31 bits on either side of the point; no digits stand for 0. */
CALI_API int32_t cali_isp_np_fix_calc(const LevelList* levels, uint32_t width, uint32_t height, int32_t count,
                                      int32_t nframes, int32_t pattern, uint32_t black_bb, uint32_t black_gb,
                                      uint32_t black_gr_rr, int32_t ref_level, const char* formats, int32_t* slope_bb,
                                      int32_t* level_bb, int32_t* slope_gb, int32_t* level_gb, int32_t* slope_gr,
                                      int32_t* level_gr, int32_t* slope_rr, int32_t* level_rr);

/* Moves register values to other formats: rounded where bits are dropped, limited to the new range. */
CALI_API int32_t cali_isp_np_fix_to_fix_calc(int32_t slope_fix, int32_t level_fix, const char* slope_format,
                                             const char* level_format, const char* new_slope_format,
                                             const char* new_level_format, int32_t* new_slope_fix,
                                             int32_t* new_level_fix);

/* The luma line of four channel lines (BB, GB, GR, RR), converted to registers: noise of 0.299 R + 0.587 G + 0.114 B of
   independent channels at 17 levels, with a line through it. Where a channel's line is negative it has no noise. */
CALI_API int32_t cali_isp_ynr_np_fix_calc(const float* slopes, const float* intercepts, int32_t ref_level,
                                          const char* slope_format, const char* level_format, int32_t* slope_fix,
                                          int32_t* level_fix);

/* output = clamp(a - b + 2048, 0, 4095), width * height samples. */
CALI_API int32_t cali_isp_diff_img_calc(uint32_t** frame_a, uint32_t** frame_b, uint32_t width, uint32_t height,
                                        uint32_t** output);

/* Standard deviation of each photosite over 2 or more frames; width * height floats. */
CALI_API int32_t cali_isp_std_img_calc(uint32_t** frames, int32_t nframes, uint32_t width, uint32_t height,
                                       float* output);

/* ------------------------------------------------------------------------------------ colour look-up table ---- */

typedef struct ClutCell {
    float r, g, b; /* encoded sRGB, 0..1 */
    float weight;
} ClutCell;

typedef struct ClutSettings {
    int32_t nodes[3]; /* hue, saturation, value (cali_clut_calc) or red, green, blue (cali_clut_calc_rgb); 2..65 */
    float strength;   /* 0 leaves the identity table, 1 the full correction */
    float radius;     /* reach of one cell, in units of the axis range */
} ClutSettings;

/*
 * Look-up table that takes measured colours to their targets, over hue, saturation and value (docs/colour-tables.md).
 *
 * measured, target  cell_count colours each, encoded sRGB within 0..1. Weights, 0 or more, are those of `measured`.
 * cell_count        1 or more.
 * settings          nodes 2..65; strength 0..1; radius above 0, at most 1.
 * table             out: nodes[0] * nodes[1] * nodes[2] * 3 integers, hue fastest, then saturation, then value: per
 * node the hue shift in 1/64 degree, saturation and value scale with 1024 = 1.0. Node i of n sits at i / (n - 1) of its
 * axis, on the hue circle at i / n.
 *
 * Rejected where no measured colour has a saturation of 0.02 or more: greys have no hue to correct at.
 *
 * The neutral axis stays, nodes farther from every cell than the radius stay, neighbouring nodes keep their order along
 * each axis. Prints how many were out of order before that was mended, and the largest second difference. The
 * environment variable CLUT_EXPORT_TABLE above 0 writes "clut_input.txt", "clut_phase_0.txt" to "clut_phase_5.txt" and
 * "clut_phase_final.txt"; CLUT_BYPASS_POSTPROCESS above 0 leaves out phases 4 and 5, whose files are then removed. Both
 * are echoed where set.
 */
CALI_API int32_t cali_clut_calc(const ClutCell* measured, const ClutCell* target, int32_t cell_count,
                                const ClutSettings* settings, int32_t* table);

/* The same over red, green and blue, red fastest: per node the output colour, codes 0..4095. Takes greys too. */
CALI_API int32_t cali_clut_calc_rgb(const ClutCell* measured, const ClutCell* target, int32_t cell_count,
                                    const ClutSettings* settings, int32_t* table);

#ifdef __cplusplus
} /* extern "C" */

#include <memory>
#include <utility>
#include <vector>

namespace cali {

/// A level list over frames that the caller keeps.
class LevelListOwner {
public:
    /// One vector of frame pointers per brightness level.
    explicit LevelListOwner(std::vector<std::vector<uint32_t*>> frames) : frames_(std::move(frames)) {
        for (std::vector<uint32_t*>& level : frames_) {
            levels_.push_back({level.data(), static_cast<uint32_t>(level.size())});
        }
        list_ = {levels_.data(), static_cast<uint32_t>(levels_.size()), nullptr, nullptr};
    }
    LevelListOwner(const LevelListOwner&) = delete;
    LevelListOwner& operator=(const LevelListOwner&) = delete;

    /// For exports that leave the list with the caller.
    [[nodiscard]] const LevelList* get() const { return &list_; }

    /// A list for an export that takes it by value: that export releases it.
    [[nodiscard]] LevelList copy() const {
        auto owner = std::make_unique<LevelListOwner>(frames_);
        LevelList list = owner->list_;
        list.release = [](LevelList* taken) { delete static_cast<LevelListOwner*>(taken->owner); };
        list.owner = owner.release();
        return list;
    }

private:
    std::vector<std::vector<uint32_t*>> frames_;
    std::vector<Level> levels_;
    LevelList list_{};
};

} /* namespace cali */
#endif

#endif
