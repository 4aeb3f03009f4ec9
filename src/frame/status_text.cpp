// Status texts and DirectX result texts. This file is UTF-8; it is compiled with
// -fexec-charset=CP932, so every string literal below is Shift-JIS in the binary.
#include "frame/status_text.h"

#include <cstdio>
#include <cstring>

#include "frame/dx_result_table.h"

namespace zorv {

namespace {

// Texts of the codes 0, -1, ..., -80, indexed by -code.
const char* const statusTexts[] = {
    "正常終了",  // 0
    "パラメータタイプが不正",  // -1
    "パラメータが範囲外",  // -2
    "DirectDrawDeviceの列挙に失敗",  // -3
    "DirectDraw1の取得に失敗",  // -4
    "DirectDtawの取得に失敗",  // -5
    "DDCAPSの取得に失敗",  // -6
    "ディスプレイモードの列挙に失敗",  // -7
    "既に初期化済み",  // -8
    "不正なスクリーンタイプ",  // -9
    "メモリ不足",  // -10
    "動作モード設定失敗",  // -11
    "ウィンドウの移動に失敗",  // -12
    "解像度、ビット深度の変更に失敗",  // -13
    "プライマリサーフェイスの作製に失敗",  // -14
    "クリッパーの作製に失敗",  // -15
    "クリッパーとウィンドウを結びつける事に失敗",  // -16
    "クリッパーの設定に失敗",  // -17
    "バックバッファの作製に失敗",  // -18
    "バックバッファのアタッチに失敗",  // -19
    "パレットの作成に失敗",  // -20
    "パレットの設定に失敗",  // -21
    "Direct3Dの製作に失敗",  // -22
    "Direct3Dデバイスの製作に失敗",  // -23
    "Direct3Dビューポートの製作に失敗",  // -24
    "Direct3Dビューポートの関連付けに失敗",  // -25
    "Direct3Dビューポートの設定に失敗",  // -26
    "カレントビューポートの設定に失敗",  // -27
    "プライマリサーフェイスが無い",  // -28
    "サーフェイスの作成に失敗",  // -29
    "ビットマップの転送に失敗",  // -30
    "DCの獲得に失敗",  // -31
    "パレットモードで無い",  // -32
    "パレットの設定に失敗",  // -33
    "サーフェイスのリストアに失敗",  // -34
    "フリップに失敗",  // -35
    "Blt COLORFILLに失敗",  // -36
    "DD発見できず",  // -37
    "DDが初期化されていない",  // -38
    "サーフェイスが作製されていない",  // -39
    "Direct3Dデバイスが製作されていない",  // -40
    "描画を開始できない",  // -41
    "ポリゴンの描画に失敗",  // -42
    "Direct3Dの取得に失敗",  // -43
    "マテリアルの製作に失敗",  // -44
    "カラーマッチに失敗",  // -45
    "描画を終了する時にエラー発生",  // -46
    "レンダリングの設定に失敗",  // -47
    "テクスチャ描画の設定に失敗",  // -48
    "ライトの設定に失敗",  // -49
    "ビューポートのクリアに失敗",  // -50
    "アクティブサーフェイスは解放できない",  // -51
    "ロックに失敗",  // -52
    "アンロックに失敗",  // -53
    "DCの解放に失敗",  // -54
    "Z bufferのクリアに失敗",  // -55
    "ビットマップの転送に失敗",  // -56
    "パレットの取得に失敗",  // -57
    "ピクセルフォーマットの取得に失敗",  // -58
    "サブクラス化に失敗",  // -59
    "サブクラス化解除に失敗",  // -60
    "テクスチャサーフェイスでは無い",  // -61
    "相対移動対象キャラクタが存在しない",  // -62
    "キャラクタ変数が全て設定されていない",  // -63
    "COMインターフェイスの初期化失敗",  // -64
    "DirectDrawの初期化に失敗",  // -65
    "DirectXが見つからない",  // -66
    "DirectXのバージョンが古い",  // -67
    "DirectDrawCreateが見つからない",  // -68
    "ペンの生成に失敗",  // -69
    "ZorvdInitializeが実行されていない",  // -70
    "パラメータが不足している",  // -71
    "アニメーションパターンが設定されていない",  // -72
    "チップのサイズが異常",  // -73
    "3D機能を使用しないモードである",  // -74
    "チップNo.が不正",  // -75
    "サーフェイスが初期化されていない",  // -76
    "コピー元とコピー先が同じ",  // -77
    "Zバッファが列挙されていない(;_;)",  // -78
    "Zバッファの製作に失敗",  // -79
    "Zバッファのアタッチに失敗",  // -80
};
constexpr int32_t STATUS_TEXT_COUNT = sizeof(statusTexts) / sizeof(statusTexts[0]);
static_assert(STATUS_TEXT_COUNT == 81, "one text for each code 0 ... -80");

const char UNSUPPORTED_TEXT[] = "そいつぁ、未対応のフューチャーでんがな！(^_^;)";

char statusBuffer[256];
char dxResultBuffer[1024];

}  // namespace

const char* StatusText(int32_t code) {
    if (code <= 0 && code > -STATUS_TEXT_COUNT) return statusTexts[-code];
    if (code == ERR_NOT_SUPPORTED) return UNSUPPORTED_TEXT;
    std::snprintf(statusBuffer, sizeof statusBuffer, "unknown! %d[0x%04X]", static_cast<int>(code),
                  static_cast<unsigned>(code));
    return statusBuffer;
}

const char* DxResultText(int32_t result) {
    // A plain comparison on the whole value: the facility and code are not split.
    const uint32_t value = static_cast<uint32_t>(result);
    for (size_t i = 0; i < dxResultTextCount; ++i) {
        if (dxResultTexts[i].value == value) return dxResultTexts[i].text;
    }
    std::snprintf(dxResultBuffer, sizeof dxResultBuffer, "unknown! %d[%04X]", static_cast<int>(result),
                  static_cast<unsigned>(value));
    return dxResultBuffer;
}

void CopyTextToHost(char* buffer, int32_t size, const char* text) {
    if (buffer == nullptr || size <= 0) return;
    // The host's size field is trusted: it describes the buffer the host allocated.
    const size_t limit = static_cast<size_t>(size) * 4 - 1;
    // Like strncpy: zeros after a short text, no terminator after a cut one.
    std::strncpy(buffer, text, limit);
}

}  // namespace zorv
