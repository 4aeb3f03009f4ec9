// What the plugin must answer, written down independently of its sources: the status texts
// (UTF-8 here; the plugin holds them as Shift-JIS) and the names of its 83 exports.
#pragma once

#include <cstdint>

namespace expected {

struct StatusRow {
    int32_t code;
    const char* text;
};

// Codes 0 ... -80 and -255.
inline constexpr StatusRow STATUS_TEXTS[] = {
    {0, "正常終了"},
    {-1, "パラメータタイプが不正"},
    {-2, "パラメータが範囲外"},
    {-3, "DirectDrawDeviceの列挙に失敗"},
    {-4, "DirectDraw1の取得に失敗"},
    {-5, "DirectDtawの取得に失敗"},
    {-6, "DDCAPSの取得に失敗"},
    {-7, "ディスプレイモードの列挙に失敗"},
    {-8, "既に初期化済み"},
    {-9, "不正なスクリーンタイプ"},
    {-10, "メモリ不足"},
    {-11, "動作モード設定失敗"},
    {-12, "ウィンドウの移動に失敗"},
    {-13, "解像度、ビット深度の変更に失敗"},
    {-14, "プライマリサーフェイスの作製に失敗"},
    {-15, "クリッパーの作製に失敗"},
    {-16, "クリッパーとウィンドウを結びつける事に失敗"},
    {-17, "クリッパーの設定に失敗"},
    {-18, "バックバッファの作製に失敗"},
    {-19, "バックバッファのアタッチに失敗"},
    {-20, "パレットの作成に失敗"},
    {-21, "パレットの設定に失敗"},
    {-22, "Direct3Dの製作に失敗"},
    {-23, "Direct3Dデバイスの製作に失敗"},
    {-24, "Direct3Dビューポートの製作に失敗"},
    {-25, "Direct3Dビューポートの関連付けに失敗"},
    {-26, "Direct3Dビューポートの設定に失敗"},
    {-27, "カレントビューポートの設定に失敗"},
    {-28, "プライマリサーフェイスが無い"},
    {-29, "サーフェイスの作成に失敗"},
    {-30, "ビットマップの転送に失敗"},
    {-31, "DCの獲得に失敗"},
    {-32, "パレットモードで無い"},
    {-33, "パレットの設定に失敗"},
    {-34, "サーフェイスのリストアに失敗"},
    {-35, "フリップに失敗"},
    {-36, "Blt COLORFILLに失敗"},
    {-37, "DD発見できず"},
    {-38, "DDが初期化されていない"},
    {-39, "サーフェイスが作製されていない"},
    {-40, "Direct3Dデバイスが製作されていない"},
    {-41, "描画を開始できない"},
    {-42, "ポリゴンの描画に失敗"},
    {-43, "Direct3Dの取得に失敗"},
    {-44, "マテリアルの製作に失敗"},
    {-45, "カラーマッチに失敗"},
    {-46, "描画を終了する時にエラー発生"},
    {-47, "レンダリングの設定に失敗"},
    {-48, "テクスチャ描画の設定に失敗"},
    {-49, "ライトの設定に失敗"},
    {-50, "ビューポートのクリアに失敗"},
    {-51, "アクティブサーフェイスは解放できない"},
    {-52, "ロックに失敗"},
    {-53, "アンロックに失敗"},
    {-54, "DCの解放に失敗"},
    {-55, "Z bufferのクリアに失敗"},
    {-56, "ビットマップの転送に失敗"},
    {-57, "パレットの取得に失敗"},
    {-58, "ピクセルフォーマットの取得に失敗"},
    {-59, "サブクラス化に失敗"},
    {-60, "サブクラス化解除に失敗"},
    {-61, "テクスチャサーフェイスでは無い"},
    {-62, "相対移動対象キャラクタが存在しない"},
    {-63, "キャラクタ変数が全て設定されていない"},
    {-64, "COMインターフェイスの初期化失敗"},
    {-65, "DirectDrawの初期化に失敗"},
    {-66, "DirectXが見つからない"},
    {-67, "DirectXのバージョンが古い"},
    {-68, "DirectDrawCreateが見つからない"},
    {-69, "ペンの生成に失敗"},
    {-70, "ZorvdInitializeが実行されていない"},
    {-71, "パラメータが不足している"},
    {-72, "アニメーションパターンが設定されていない"},
    {-73, "チップのサイズが異常"},
    {-74, "3D機能を使用しないモードである"},
    {-75, "チップNo.が不正"},
    {-76, "サーフェイスが初期化されていない"},
    {-77, "コピー元とコピー先が同じ"},
    {-78, "Zバッファが列挙されていない(;_;)"},
    {-79, "Zバッファの製作に失敗"},
    {-80, "Zバッファのアタッチに失敗"},
    {-255, "そいつぁ、未対応のフューチャーでんがな！(^_^;)"},
};
inline constexpr int STATUS_TEXT_COUNT = sizeof(STATUS_TEXTS) / sizeof(STATUS_TEXTS[0]);

// Every export, undecorated.
inline constexpr const char* EXPORTS[] = {
    "ZorvBeginDraw", "ZorvBoxFill", "ZorvClearSurface", "ZorvCombine", "ZorvCopyCharacter",
    "ZorvCreateCharacter", "ZorvCreateChip", "ZorvCreateDD", "ZorvCreateOffscreenSurface",
    "ZorvCreatePrimarySurface", "ZorvDrawCircle", "ZorvDrawString", "ZorvEndDraw", "ZorvEnumDDdevice",
    "ZorvEnumDisplayMode", "ZorvExit", "ZorvFadePalette", "ZorvFindCharacter", "ZorvGetColorCode",
    "ZorvGetD3Dcaps", "ZorvGetDDcaps", "ZorvGetDDdeviceName", "ZorvGetError", "ZorvGetFrameRate",
    "ZorvGetPointColor", "ZorvGetPolygonRate", "ZorvGetRGBFromColorCode", "ZorvGetVersion",
    "ZorvHSPToSurface", "ZorvHitTest", "ZorvHitTest2", "ZorvInitialize", "ZorvInitializeAnimationPattern",
    "ZorvInitializeCharacter", "ZorvInitializeChip", "ZorvInitializeSurface", "ZorvLimitSystemBehavior",
    "ZorvMoveCharacter", "ZorvPaletteCopy", "ZorvPutCharacter", "ZorvPutCharacterYSort", "ZorvPutChip",
    "ZorvPutChip2", "ZorvPutChip3", "ZorvPutChip4", "ZorvReleaseDD", "ZorvReleaseOffscreenSurface",
    "ZorvReleasePrimarySurface", "ZorvSelectSurface", "ZorvSetAnimationPattern", "ZorvSetCharacterAim",
    "ZorvSetCharacterAim2", "ZorvSetCharacterAnimation", "ZorvSetCharacterVariable", "ZorvSetChipHitArea",
    "ZorvSetChipOffset", "ZorvSetDrawArea", "ZorvSetPalette", "ZorvSetPen", "ZorvSetPosition",
    "ZorvSetRelativeCharacter", "ZorvSetRenderColor", "ZorvSetRenderState", "ZorvSetStringChip",
    "ZorvSetTextureStageState", "ZorvSetTransparentColor", "ZorvShowFrameRate", "ZorvShowPolygonRate",
    "ZorvSurfaceToHSP", "ZorvSurfaceToSurface", "ZorvUpdateScreen", "ZorvmiscAtan", "ZorvmiscCos",
    "ZorvmiscCos2", "ZorvmiscGetClock", "ZorvmiscGetMMtickTime", "ZorvmiscGetMMtimer", "ZorvmiscGetRDTSC",
    "ZorvmiscGetRDTSCtickTime", "ZorvmiscRand", "ZorvmiscSin", "ZorvmiscSin2", "ZorvmiscSystemParameter",
};
inline constexpr int EXPORT_COUNT = sizeof(EXPORTS) / sizeof(EXPORTS[0]);

}  // namespace expected
