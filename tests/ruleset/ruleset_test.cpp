// SPDX-License-Identifier: MIT OR GPL-2.0
