! Solves the system
!
!     2 x +   y +   z =  4
!     4 x + 3 y + 3 z = 10
!     8 x + 7 y + 9 z = 24
!
! and shows what a bad argument looks like. Compile nuv_lapack.f90, which is installed beside the C header, first.
program first
  use, intrinsic :: iso_c_binding
  use nuv_lapack
  implicit none
  real(c_double) :: a(3, 3) = reshape([real(c_double) :: 2, 4, 8, 1, 3, 7, 1, 3, 9], [3, 3])
  real(c_double) :: b(3, 1) = reshape([real(c_double) :: 4, 10, 24], [3, 1])
  integer(c_int) :: pivots(3), info

  call nuv_lapack_dgesv(3, 1, a, 3, pivots, b, 3, info)
  print '("info = ", i0, ", x = ", i0, ", y = ", i0, ", z = ", i0)', info, nint(b)

  ! The fourth argument, the leading dimension of a, must be at least 3.
  call nuv_lapack_dgesv(3, 1, a, 2, pivots, b, 3, info)
  print '("info = ", i0)', info
  if (info /= -4) stop 1
end program first
